// Compiled apart from everything else: a program of the tests is built with this file once more, with a header in front
// that names the tests' own root. No program that is shipped has a way to other roots than these.

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/linux/codesign/AppleRootCAG3.h"
#include "platform/linux/codesign/CodeSigningTrust.h"

#ifndef BRINDLEWICK_ANCHOR_SHA256
#include "platform/linux/codesign/BuiltInAnchors.h"
#endif

namespace brindlewick {
namespace {

constexpr std::string_view fingerprints = BRINDLEWICK_ANCHOR_SHA256;
constexpr std::size_t fingerprintLength = 2 * SHA256Digest().size();

// What is evaluated by the compiler has no other way to say no.
consteval std::uint8_t hexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
  throw "a fingerprint has digits of lower-case hexadecimal";
}

consteval auto anchorDigests() {
  static_assert((fingerprints.size() + 1) % (fingerprintLength + 1) == 0, "fingerprints have 64 digits each");
  std::array<SHA256Digest, (fingerprints.size() + 1) / (fingerprintLength + 1)> digests{};
  std::size_t at = 0;
  for (SHA256Digest& digest : digests) {
    if (at > 0 && fingerprints[at++] != ';') throw "semicolons separate fingerprints";
    for (std::uint8_t& byte : digest) {
      byte = static_cast<std::uint8_t>(hexDigit(fingerprints[at]) << 4 | hexDigit(fingerprints[at + 1]));
      at += 2;
    }
  }
  return digests;
}

}  // namespace

CodeSigningTrust builtInTrust() {
  static constexpr auto anchors = anchorDigests();
  return {.anchors = {anchors.begin(), anchors.end()},
          .now = [] { return std::chrono::system_clock::now(); },
          .ticketRoots = {Bytes(std::begin(codesign::appleRootCAG3), std::end(codesign::appleRootCAG3))}};
}

}  // namespace brindlewick
