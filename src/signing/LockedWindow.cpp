#include "signing/LockedWindow.h"

#include <algorithm>
#include <utility>

namespace brindlewick {

std::string_view LockedWindow::ahead(std::size_t wanted) {
  const auto bytes = bytes_.writable();
  if (filled_ - passed_ < wanted) {
    std::ranges::copy(bytes.subspan(passed_, filled_ - passed_), bytes.begin());
    filled_ -= std::exchange(passed_, 0);
  }
  while (filled_ - passed_ < wanted) {
    const auto free = bytes.subspan(filled_);
    const auto count = item_.read(free.first(std::min(free.size(), unread_)));
    if (count == 0) break;
    filled_ += count;
    unread_ -= count;
  }
  return asText(bytes_.view().subspan(passed_, filled_ - passed_));
}

bool LockedWindow::passRest() {
  while (!ahead(1).empty()) pass(ahead(1).size());
  return unread_ > 0;
}

}  // namespace brindlewick
