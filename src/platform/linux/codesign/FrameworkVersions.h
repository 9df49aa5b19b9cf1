#pragma once

#include <string>
#include <vector>

#include "platform/linux/codesign/Folder.h"

namespace brindlewick::codesign {

struct FrameworkVersions {
  std::string current;
  std::vector<std::string> others;
};

/// The versions of a framework that has a folder Versions. Its root holds nothing but that folder, links into it, and
/// two kinds of files that nobody runs; Versions holds directories and the link Current, which names one of them.
/// Throws Refusal.
[[nodiscard]] FrameworkVersions readFrameworkVersions(const Folder& framework);

/// Whether the item is a regular file that nobody may execute.
[[nodiscard]] bool isPlainFile(const Folder& folder, const std::string& name);

}  // namespace brindlewick::codesign
