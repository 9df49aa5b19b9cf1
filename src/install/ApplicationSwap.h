#pragma once

#include "install/ApplicationIdentity.h"

namespace brindlewick::ApplicationSwap {

/// Puts a copy of `candidate` in the place of the application at `installed`. Copy and backup lie beside the installed
/// application, under hidden names, so that both moves are renames. The copy is verified and durable before the first
/// move, and verified again in its place; the old application goes back if anything fails. HUP, INT, TERM and PIPE are
/// ignored meanwhile.
///
/// Throws Failure<UpdateInstallError>: destinationNotWritable before anything is written; the errors of the copy's
/// verification; replacementFailed for everything else.
void replace(const InspectionTools& tools, const Path& installed, const Path& candidate,
             const ExpectedApplication& expected);

}  // namespace brindlewick::ApplicationSwap
