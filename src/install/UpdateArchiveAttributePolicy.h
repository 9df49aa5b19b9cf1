#pragma once

#include <string_view>

namespace brindlewick::UpdateArchiveAttributePolicy {

/// Accepts the long listing of an archive (zipinfo -l, UTF-8) only if every entry whose type can be read there is a
/// directory or a regular file. A line counts if its first field is ten characters of which the last nine are
/// permission letters; what the permissions allow is not judged. Lines end and fields part wherever Unicode says so: a
/// name with such a character is read as more lines, which can only refuse more. Entries made by systems with other
/// attributes have no such field: their links are found in the expanded tree.
///
/// Throws Failure<UpdateInstallError> unsafeArchive.
void check(std::string_view listing);

}  // namespace brindlewick::UpdateArchiveAttributePolicy
