#include "NameOrder.h"

#include <algorithm>

namespace brindlewick::ditto {
namespace {

/// A slash ends a component and so comes before every other character.
int rank(char c) noexcept { return c == '/' ? 0 : 1 + static_cast<unsigned char>(c); }

}  // namespace

bool precedesByName(std::string_view a, std::string_view b) noexcept {
  const auto [inA, inB] = std::ranges::mismatch(a, b);
  if (inA == a.end() || inB == b.end()) return inB != b.end();
  return rank(*inA) < rank(*inB);
}

std::size_t sharedComponentCount(std::string_view a, std::string_view b) noexcept {
  const auto [inA, inB] = std::ranges::mismatch(a, b);
  const bool isWhole = (inA == a.end() || *inA == '/') && (inB == b.end() || *inB == '/');
  return static_cast<std::size_t>(std::count(a.begin(), inA, '/')) + (isWhole ? 1 : 0);
}

std::size_t componentCount(std::string_view path) noexcept {
  return 1 + static_cast<std::size_t>(std::ranges::count(path, '/'));
}

FolderPlan::FolderPlan(const std::vector<Item>& items) {
  order_.reserve(items.size());
  for (const Item& item : items) order_.push_back(&item);
  std::ranges::sort(order_, precedesByName, [](const Item* item) -> std::string_view { return item->path; });
}

std::vector<PlannedFolder> FolderPlan::foldersOf(std::size_t entry) const {
  const Item& item = *order_[entry];
  const std::size_t shared = entry == 0 ? 0 : sharedComponentCount(order_[entry - 1]->path, item.path);
  std::vector<PlannedFolder> folders;
  std::size_t number = 0;
  for (std::size_t end = item.path.find('/'); end != std::string::npos; end = item.path.find('/', end + 1))
    if (++number > shared) folders.push_back({item.path.substr(0, end)});
  if (item.kind == Item::Kind::folder) folders.push_back({item.path, &item});
  return folders;
}

}  // namespace brindlewick::ditto
