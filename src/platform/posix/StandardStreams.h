#pragma once

namespace brindlewick::posix {

/// Readies the three standard streams of a program that says nothing but its answer. One that is closed is put on the
/// null device, so that no file opened later takes its number and receives what was meant for it; standard error is put
/// there in any case, so that no library ever says a word.
void readyStandardStreams();

}  // namespace brindlewick::posix
