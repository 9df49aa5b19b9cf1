#pragma once

namespace brindlewick::posix {

/// The setting that gives a child a UTF-8 locale; its name differs between systems.
[[nodiscard]] const char* localeSetting() noexcept;

/// Marks every open descriptor from `first` on to be closed by exec, those included that this process inherited open.
/// Runs between fork and exec: signal-safe calls only.
void closeOnExecFrom(int first) noexcept;

}  // namespace brindlewick::posix
