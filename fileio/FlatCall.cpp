#include "FlatCall.h"

#include <algorithm>
#include <atomic>

#include "CategoryDB.h"
#include "OutlineDB.h"
#include "RV_FileIO.h"

namespace kx_gen::flat {

namespace {

std::atomic<bool> guarded{false};

constexpr size_t kErrorTextMax = 1024;  // characters; the library's own texts are shorter

// What the last guarded call of a thread ended with. It has no destructor: one would have to run in
// a library that was unloaded meanwhile, or keep it from being unloaded.
struct LastError {
  unsigned long number;
  wchar_t text[kErrorTextMax];
};
static_assert(std::is_trivially_destructible<LastError>::value, "threads may outlive the library");
thread_local LastError lastError;

// Made once, while there is memory for its text.
const CException& outOfMemory() {
  static const CException error(kMsgOutOfMemory, kMsgOutOfMemory - 1ul);
  return error;
}

void keep(const CException& e) {
  const wchar_t* const description = e.GetDescription();
  const size_t length = std::min(std::wcslen(description), kErrorTextMax - 1);
  std::wmemcpy(lastError.text, description, length);
  lastError.text[length] = L'\0';
  lastError.number = e.GetErrNumber();
}

}  // namespace

bool isGuarded() { return guarded.load(std::memory_order_relaxed); }

void clearError() {
  lastError.number = 0;
  lastError.text[0] = L'\0';
}

void keepError(CException* e) {
  keep(e != nullptr ? *e : outOfMemory());
  if (e != nullptr) e->Delete();
}

void keepOutOfMemory() { keep(outOfMemory()); }

void keepUnknown() { keep(CException()); }

}  // namespace kx_gen::flat

using kx_gen::_String;
namespace flat = kx_gen::flat;

int KX_FlatGuard(int on) {
  if (on != 0) flat::outOfMemory();
  return flat::truth(flat::guarded.exchange(on != 0));
}

unsigned long KX_FlatLastError(wchar_t* text, unsigned long capacity, unsigned long* number) {
  const flat::LastError& last = flat::lastError;
  if (number != nullptr) *number = last.number;
  const size_t length = std::wcslen(last.text);
  if (text != nullptr && capacity > 0) {
    const size_t count = std::min<size_t>(length, capacity - 1);
    std::wmemcpy(text, last.text, count);
    text[count] = L'\0';
  }
  return static_cast<unsigned long>(length);
}

RV_STR KX_StringCreate(void) {
  return flat::run([]() -> RV_STR { return flat::make<_String>(); });
}

const wchar_t* KX_StringText(RV_STR string) {
  return flat::run([&]() -> const wchar_t* {
    if (!kx_Check(string != nullptr, flat::kSource, flat::kLineStringHandle)) return nullptr;
    return static_cast<const _String*>(string)->c_str();
  });
}

void KX_StringDelete(RV_STR string) {
  flat::run([&] { delete static_cast<_String*>(string); });
}

void KX_SetUnfiledCategoryName(const wchar_t* name) {
  flat::run([&] { kx_gen::CCategoryDB::setUnfiledCategoryName(name); });
}

void KX_UpdateCategory(const wchar_t* folder, const wchar_t* extension, const wchar_t* oldName,
                       const wchar_t* newName) {
  flat::run([&] { kx_gen::updateCategory(folder, extension, oldName, newName); });
}
