#pragma once

#include <string>
#include <vector>

#include "platform/linux/codesign/Folder.h"

namespace brindlewick::codesign {

struct FrameworkVersions {
  std::string current;
  std::string currentLink;  ///< the text of the link Current, in which "./" may stand before the name
  std::vector<std::string> others;
};

/// The versions of a framework that has a folder Versions. Its root holds nothing but that folder, links into its
/// current version, and two kinds of files that nobody runs; Versions holds directories and the link Current, which
/// names one of them.
///
/// Links are judged by their texts, as the platform does, which is stricter than where they lead: "./" may stand in
/// front, and a link in the root says "Versions", then "Current" or what the link Current says, then its own name.
/// Throws Refusal.
[[nodiscard]] FrameworkVersions readFrameworkVersions(const Folder& framework);

/// Whether the item is a regular file that nobody may execute.
[[nodiscard]] bool isPlainFile(const Folder& folder, const std::string& name);

}  // namespace brindlewick::codesign
