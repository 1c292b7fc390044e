#include "app/device_list.h"

#include <vector>

#include "gnet/like_pattern.h"
#include "platform/text.h"

namespace {

std::vector<std::string> SplitAt(const std::string& list, const std::string& separator) {
  if (separator.empty()) return {list};
  std::vector<std::string> items;
  size_t start = 0;
  for (size_t at = list.find(separator); at != std::string::npos; at = list.find(separator, start)) {
    items.push_back(list.substr(start, at - start));
    start = at + separator.size();
  }
  items.push_back(list.substr(start));
  return items;
}

}  // namespace

bool IsInDeviceList(const std::string& list, const std::string& name, const std::string& separator) {
  const std::string upper_name = platform::text::Upper(name);
  for (const std::string& item : SplitAt(list, separator)) {
    const std::string upper_item = platform::text::Upper(item);
    if (upper_item == upper_name || gnet::MatchLike(upper_name, upper_item)) return true;
  }
  return false;
}
