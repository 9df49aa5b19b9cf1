#pragma once

namespace brindlewick {

/// Empties the environment of this process. A program that calls this has it emptied before anything runs in it, too:
/// libraries read variables in their own first steps, which come before main. Only the loader, which starts the
/// process, has read its own by then.
void emptyEnvironment() noexcept;

}  // namespace brindlewick
