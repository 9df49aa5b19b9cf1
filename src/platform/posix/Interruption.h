#pragma once

namespace brindlewick {

/// From now on INT, TERM and HUP set a mark instead of ending the process, so that a running operation fails, cleans up
/// and answers. Whoever starts a program with HUP ignored (nohup) wants it to outlive the session: HUP then stays
/// ignored. INT and TERM are heard all the same: a shell ignores INT for whatever runs in the background, nobody asked
/// for that. A reader that closes its pipe (PIPE) and a limit on the size of files (XFSZ) end nothing: the write fails.
void catchInterruptions();

/// Whether one of those signals has arrived.
[[nodiscard]] bool interrupted() noexcept;

/// Throws PlatformError (std::errc::interrupted) if so: called between the steps of whatever takes long.
void throwIfInterrupted();

}  // namespace brindlewick
