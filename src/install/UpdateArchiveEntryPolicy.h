#pragma once

#include <string_view>
#include <vector>

namespace brindlewick::UpdateArchiveEntryPolicy {

/// Accepts the names of an archive's entries only if everything lies in the one bundle "Brindlewick.app", under names
/// that every extractor takes for the same place.
///
/// Throws Failure<UpdateInstallError> unsafeArchive: no names at all, an empty or absolute name, a backslash, a control
/// character, another top-level item, an empty, "." or ".." component.
void check(const std::vector<std::string_view>& names);

}  // namespace brindlewick::UpdateArchiveEntryPolicy
