#pragma once

#include <memory>

#include "platform/Clock.h"
#include "platform/CodeSigning.h"
#include "platform/FileSystem.h"
#include "platform/HTTPSSession.h"
#include "platform/ProcessLauncher.h"
#include "platform/PropertyList.h"
#include "platform/StandardOutput.h"
#include "platform/SystemVersion.h"

namespace brindlewick {

/// Everything that the program asks of its operating system.
struct Platform {
  std::unique_ptr<FileSystem> files;
  std::unique_ptr<ProcessLauncher> processes;
  std::unique_ptr<HTTPSSessionFactory> https;
  std::unique_ptr<CodeSigning> codeSigning;
  std::unique_ptr<PropertyListReader> propertyLists;
  std::unique_ptr<Clock> clock;
  std::unique_ptr<SystemVersion> systemVersion;
  std::unique_ptr<StandardOutput> output;
};

/// The platform of this operating system; one definition per system, chosen when linking. Also readies the process:
/// standard error goes nowhere, so that no library says a word; the environment is emptied, so that none reads it; what
/// is created is private until it is given its mode (umask 077), whatever umask the starter had; and no signal that a
/// starter, a session, a broken pipe or a limit sends ends the process before it has cleaned up and answered.
[[nodiscard]] Platform makePlatform();

}  // namespace brindlewick
