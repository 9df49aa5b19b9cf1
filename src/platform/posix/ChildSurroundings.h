#pragma once

#include <sys/types.h>

#include <memory>

namespace brindlewick::posix {

/// The setting that gives a child a UTF-8 locale; its name differs between systems.
[[nodiscard]] const char* localeSetting() noexcept;

/// Asks the system to kill this forked child when the process that forked it ends, however that ends; false if it has
/// ended already. On macOS the system cannot be asked: there a child that has begun goes on. Signal-safe.
[[nodiscard]] bool endTogetherWith(pid_t parent) noexcept;

/// How a forked child becomes another program that has the three standard descriptors and no other, whatever this
/// process itself was given open. Made before the fork, since between fork and exec only signal-safe calls are allowed.
/// Throws PlatformError when the system refuses.
class ProgramStart {
 public:
  ProgramStart();
  ~ProgramStart();
  ProgramStart(const ProgramStart&) = delete;
  ProgramStart& operator=(const ProgramStart&) = delete;

  /// Becomes the program at this path. Returns only if that fails, with the error number.
  [[nodiscard]] int become(const char* executable, char* const* arguments, char* const* environment) const noexcept;

 private:
  struct Preparation;
  std::unique_ptr<const Preparation> preparation_;
};

}  // namespace brindlewick::posix
