#pragma once

#include <string_view>

/// The fixed names of an update on disk.
namespace brindlewick::UpdateLayout {

/// The one top-level item of a release archive.
inline constexpr std::string_view bundleName = "Brindlewick.app";

/// A preparation directory is named by this and a fresh UUID.
inline constexpr std::string_view preparationPrefix = "InstallPreparation-";

}  // namespace brindlewick::UpdateLayout
