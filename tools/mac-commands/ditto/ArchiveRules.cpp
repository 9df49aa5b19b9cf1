#include "ArchiveRules.h"

#include <sys/stat.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "Refusal.h"
#include "platform/AsciiText.h"

namespace brindlewick::ditto {
namespace {

constexpr std::size_t longestPath = 4095;
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

/// All names so far, under the key by which a Mac's file system compares them.
class Names {
 public:
  void add(const Item& item) {
    const std::string key = comparisonKey(item.path);
    std::size_t keyEnd = 0;
    for (std::size_t end = item.path.find('/'); end != std::string::npos; end = item.path.find('/', end + 1)) {
      // Neither folding nor composition touches a slash, so the components of both texts pair up.
      keyEnd = key.find('/', keyEnd + 1);
      addParent(key.substr(0, keyEnd), item.path.substr(0, end));
    }
    const auto [known, isNew] = names_.try_emplace(key, Name{item.path, item.kind, false});
    if (isNew) return;
    // A folder's own entry may follow those of its content; nothing else may come twice.
    Name& name = known->second;
    if (!name.isImplied || item.kind != Item::Kind::folder || name.spelling != item.path)
      throw Refusal("two entries have the same name on a file system that ignores case and normalisation");
    name.isImplied = false;
  }

 private:
  struct Name {
    std::string spelling;
    Item::Kind kind;
    bool isImplied;
  };

  void addParent(std::string key, std::string spelling) {
    const auto known = names_.find(key);
    if (known == names_.end()) {
      names_.emplace(std::move(key), Name{std::move(spelling), Item::Kind::folder, true});
    } else if (known->second.kind != Item::Kind::folder || known->second.spelling != spelling) {
      throw Refusal("an entry lies below a file, or below a folder that another entry spells differently");
    }
  }

  std::unordered_map<std::string, Name> names_;
};

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
  Names names;
  for (const ArchiveEntry& entry : entries) {
    items.push_back(describe(entry));
    names.add(items.back());
  }
  return items;
}

}  // namespace brindlewick::ditto
