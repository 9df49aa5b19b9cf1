#include "ArchiveRules.h"

#include <sys/stat.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "NameOrder.h"
#include "Refusal.h"
#include "platform/AsciiText.h"

namespace brindlewick::ditto {
namespace {

/// PATH_MAX of macOS. A longer name could be no file there, and each component of one may be a folder to be created.
constexpr std::size_t longestPath = 1024;
constexpr std::size_t longestComponent = 255;

void checkPath(std::string_view path) {
  if (path.size() > longestPath) throw Refusal("an entry has a name that is too long");
  for (const char c : path)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '\\')
      throw Refusal("an entry has a control character or a backslash in its name");
  for (const std::string_view component : split(path, '/')) {
    if (component.empty()) throw Refusal("an entry has a name that is absolute or has an empty component");
    if (component == "." || component == "..") throw Refusal("an entry has a name that leaves its folder");
    if (component.size() > longestComponent) throw Refusal("an entry has a name that is too long");
  }
}

/// MS-DOS, Unix, NTFS, VFAT and Darwin, whose attributes have one meaning for every reader. Readers take the links of
/// other systems (VMS, Amiga and so on) for links or for files.
bool hasKnownAttributes(std::uint8_t system) {
  return system == 0 || system == 3 || system == 10 || system == 14 || system == 19;
}

/// The upper half of the attributes is a Unix mode whenever it is there: writers that call themselves MS-DOS put one
/// there, and readers believe it.
Item describe(const ArchiveEntry& entry) {
  constexpr std::uint32_t msDosFolder = 0x10;
  const auto mode = static_cast<mode_t>(entry.externalAttributes >> 16);
  const mode_t type = mode & S_IFMT;
  const bool isFolder = entry.name.ends_with('/');
  if (!hasKnownAttributes(entry.system)) throw Refusal("an entry was made by a system that is not supported");
  if (type != 0 && type != S_IFREG && type != S_IFDIR) throw Refusal("an entry is neither a file nor a folder");
  if ((type == S_IFDIR && !isFolder) || (type == S_IFREG && isFolder) ||
      ((entry.externalAttributes & msDosFolder) != 0 && !isFolder))
    throw Refusal("an entry is a file by its name and a folder by its attributes, or the other way round");
  // Deflate packs nothing into two bytes.
  if (isFolder && (entry.byteCount != 0 || entry.compressedByteCount > 2)) throw Refusal("a folder has content");

  Item item{.path = entry.name.substr(0, entry.name.size() - (isFolder ? 1 : 0)),
            .kind = isFolder ? Item::Kind::folder : Item::Kind::file,
            .mode = mode & (S_IRWXU | S_IRWXG | S_IRWXO),
            .byteCount = entry.byteCount};
  if (mode == 0) item.mode = isFolder ? 0755 : 0644;
  checkPath(item.path);
  return item;
}

/// A name beside the key by which a Mac's file system compares it.
struct Name {
  std::string key;
  const Item* item;
};

/// Neither folding nor composition touches a slash, so the components of a key and of its name pair up.
void checkNeighbours(const Name& before, const Name& name) {
  if (before.key == name.key)
    throw Refusal("two entries have the same name on a file system that ignores case and normalisation");
  const std::size_t shared = sharedComponentCount(before.key, name.key);
  const bool liesBelow = shared == componentCount(before.key);
  if ((liesBelow && before.item->kind != Item::Kind::folder) ||
      sharedComponentCount(before.item->path, name.item->path) < shared)
    throw Refusal("an entry lies below a file, or below a folder that another entry spells differently");
}

/// In the order of names each stands behind its folders, and all that share a folder stand together. So only neighbours
/// are compared, and no folder is kept in memory: an archive of a few MiB can name a hundred times as many of them.
void checkNames(const std::vector<Item>& items) {
  std::vector<Name> names;
  names.reserve(items.size());
  for (const Item& item : items) names.push_back({comparisonKey(item.path), &item});
  std::ranges::sort(names, precedesByName, &Name::key);
  for (std::size_t i = 1; i < names.size(); ++i) checkNeighbours(names[i - 1], names[i]);
}

}  // namespace

std::string comparisonKey(std::string_view name) {
  // Nothing else happens to ASCII, which nearly all names are.
  if (std::ranges::all_of(name, [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
    return asciiLowercase(std::string(name));
  utf8proc_uint8_t* folded = nullptr;
  const auto options =
      static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_CASEFOLD | UTF8PROC_IGNORE);
  const utf8proc_ssize_t byteCount = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(name.data()),
                                                  static_cast<utf8proc_ssize_t>(name.size()), &folded, options);
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(folded, std::free);
  if (byteCount < 0) throw Refusal("an entry has a name that is not UTF-8");
  return {reinterpret_cast<const char*>(folded), static_cast<std::size_t>(byteCount)};
}

std::vector<Item> checkedItems(const std::vector<ArchiveEntry>& entries) {
  std::vector<Item> items;
  items.reserve(entries.size());
  for (const ArchiveEntry& entry : entries) items.push_back(describe(entry));
  checkNames(items);
  return items;
}

}  // namespace brindlewick::ditto
