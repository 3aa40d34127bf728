#include "FlatCall.h"

#include <algorithm>
#include <atomic>

#include "CategoryDB.h"
#include "OutlineDB.h"
#include "RV_FileIO.h"

namespace kx_gen::flat {

namespace {

std::atomic<bool> guarded{false};

// What the last guarded call of a thread ended with.
struct LastError {
  bool failed = false;
  CException error;
};
thread_local LastError lastError;

}  // namespace

bool isGuarded() { return guarded.load(std::memory_order_relaxed); }

void clearError() { lastError = LastError(); }

void keepError(CException* e) {
  lastError.failed = true;
  lastError.error =
      e != nullptr ? CException(*e) : CException(kMsgOutOfMemory, kMsgOutOfMemory - 1ul);
  if (e != nullptr) e->Delete();
}

void keepOutOfMemory() { keepError(nullptr); }

void keepUnknown() {
  lastError.failed = true;
  lastError.error = CException();
}

}  // namespace kx_gen::flat

using kx_gen::_String;
namespace flat = kx_gen::flat;

int KX_FlatGuard(int on) { return flat::truth(flat::guarded.exchange(on != 0)); }

unsigned long KX_FlatLastError(wchar_t* text, unsigned long capacity, unsigned long* number) {
  const flat::LastError& last = flat::lastError;
  if (number != nullptr) *number = last.failed ? last.error.GetErrNumber() : 0;
  const wchar_t* description = last.failed ? last.error.GetDescription() : L"";
  const size_t length = std::wcslen(description);
  if (text != nullptr && capacity > 0) {
    const size_t count = std::min<size_t>(length, capacity - 1);
    std::wmemcpy(text, description, count);
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
