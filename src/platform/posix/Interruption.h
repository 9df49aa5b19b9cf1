#pragma once

namespace brindlewick {

/// From now on INT, TERM and HUP set a mark instead of ending the process, so that a running operation fails, cleans up
/// and answers; and a reader that closes its pipe (PIPE) ends nothing.
void catchInterruptions();

/// Whether one of those signals has arrived.
[[nodiscard]] bool interrupted() noexcept;

/// Throws PlatformError (std::errc::interrupted) if so: called between the steps of whatever takes long.
void throwIfInterrupted();

}  // namespace brindlewick
