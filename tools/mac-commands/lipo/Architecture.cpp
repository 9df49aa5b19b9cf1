#include "Architecture.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace brindlewick::lipo {
namespace {

// Widths that are added to a type: 64-bit, and 64-bit registers with 32-bit pointers.
constexpr std::uint32_t wide = 0x01000000;
constexpr std::uint32_t narrowPointers = 0x02000000;
constexpr std::uint32_t intel = 7;
constexpr std::uint32_t arm = 12;
constexpr std::uint32_t powerPC = 18;

constexpr std::pair<Architecture, const char*> names[] = {
    {{intel, 3}, "i386"},
    {{intel | wide, 3}, "x86_64"},
    {{intel | wide, 8}, "x86_64h"},
    {{arm, 0}, "arm"},
    {{arm, 5}, "armv4t"},
    {{arm, 6}, "armv6"},
    {{arm, 7}, "armv5"},
    {{arm, 8}, "xscale"},
    {{arm, 9}, "armv7"},
    {{arm, 10}, "armv7f"},
    {{arm, 11}, "armv7s"},
    {{arm, 12}, "armv7k"},
    {{arm, 14}, "armv6m"},
    {{arm, 15}, "armv7m"},
    {{arm, 16}, "armv7em"},
    {{arm | wide, 0}, "arm64"},
    {{arm | wide, 1}, "arm64v8"},
    {{arm | wide, 2}, "arm64e"},
    {{arm | narrowPointers, 1}, "arm64_32"},
    {{powerPC, 0}, "ppc"},
    {{powerPC, 1}, "ppc601"},
    {{powerPC, 3}, "ppc603"},
    {{powerPC, 4}, "ppc603e"},
    {{powerPC, 5}, "ppc603ev"},
    {{powerPC, 6}, "ppc604"},
    {{powerPC, 7}, "ppc604e"},
    {{powerPC, 9}, "ppc750"},
    {{powerPC, 10}, "ppc7400"},
    {{powerPC, 11}, "ppc7450"},
    {{powerPC, 100}, "ppc970"},
    {{powerPC | wide, 0}, "ppc64"},
    {{powerPC | wide, 100}, "ppc970-64"},
};

}  // namespace

std::string nameOf(Architecture architecture) {
  const auto* const found =
      std::find_if(std::begin(names), std::end(names), [&](const auto& entry) { return entry.first == architecture; });
  if (found != std::end(names)) return found->second;
  // Types are signed numbers in Apple's headers.
  return "unknown(" + std::to_string(static_cast<std::int32_t>(architecture.type)) + "," +
         std::to_string(architecture.subtype) + ")";
}

}  // namespace brindlewick::lipo
