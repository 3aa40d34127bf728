#include "FindSnapshot.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "Wildcard.h"

namespace kx_platform {
namespace {

struct Snapshot {
  std::vector<WIN32_FIND_DATAW> matches;
  size_t next = 0;
};

/// The running searches. Never destroyed: a search object of static life may outlast it otherwise.
struct Searches {
  std::mutex mutex;
  std::unordered_map<HANDLE, std::unique_ptr<Snapshot>> byHandle;
};

Searches& AllSearches() {
  static auto* const searches = new Searches;
  return *searches;
}

bool IsBefore(const WIN32_FIND_DATAW& a, const WIN32_FIND_DATAW& b) {
  const int order = CompareIgnoringCase(a.cFileName, b.cFileName);
  return order != 0 ? order < 0 : std::wcscmp(a.cFileName, b.cFileName) < 0;
}

}  // namespace

HANDLE OpenSnapshot(std::vector<WIN32_FIND_DATAW> matches, WIN32_FIND_DATAW* data) {
  if (matches.empty()) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  std::sort(matches.begin(), matches.end(), IsBefore);
  auto snapshot = std::make_unique<Snapshot>();
  snapshot->matches = std::move(matches);
  snapshot->next = 1;
  *data = snapshot->matches.front();
  const HANDLE handle = snapshot.get();
  Searches& searches = AllSearches();
  const std::lock_guard<std::mutex> lock(searches.mutex);
  searches.byHandle[handle] = std::move(snapshot);
  return handle;
}

bool NextInSnapshot(HANDLE search, WIN32_FIND_DATAW* data) {
  Searches& searches = AllSearches();
  const std::lock_guard<std::mutex> lock(searches.mutex);
  const auto found = searches.byHandle.find(search);
  if (found == searches.byHandle.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
  }
  Snapshot& snapshot = *found->second;
  if (snapshot.next == snapshot.matches.size()) {
    SetLastError(ERROR_NO_MORE_FILES);
    return false;
  }
  *data = snapshot.matches[snapshot.next++];
  return true;
}

bool CloseSnapshot(HANDLE search) {
  Searches& searches = AllSearches();
  const std::lock_guard<std::mutex> lock(searches.mutex);
  if (searches.byHandle.erase(search) != 0) return true;
  SetLastError(ERROR_INVALID_HANDLE);
  return false;
}

}  // namespace kx_platform
