// What every function of the flat interface does around the member that it calls.
#pragma once

#include <cstddef>
#include <cwchar>
#include <exception>
#include <new>
#include <type_traits>

#include "Exception.h"
#include "KxString.h"
#include "kx_assert.h"

namespace kx_gen::flat {

constexpr char kSource[] = ".\\FlatInterface";
enum : int {
  kLineOutlineHandle = 31,
  kLineDatabaseHandle = 32,
  kLineRecordHandle = 33,
  kLineOutlineRecordHandle = 34,
  kLineCategoryHandle = 35,
  kLineCategoryRecordHandle = 36,
  kLineStringHandle = 37,
  kLineRecordset = 38,
  kLineNullArgument = 39,
};

bool isGuarded();
void clearError();
/// Keeps number and text of `e` (null when memory ran out) for this thread and releases it.
void keepError(CException* e);
/// Keeps that memory ran out, under the text that was made when the guard was first turned on.
void keepOutOfMemory();
/// Keeps an error that nothing is known of.
void keepUnknown();

/// Runs `call`. While the guard is on, what it throws is kept and a zero result returned.
template <class Call>
auto run(Call call) -> decltype(call()) {
  if (!isGuarded()) return call();
  clearError();
  try {
    return call();
  } catch (CException* e) {
    keepError(e);
  } catch (const std::bad_alloc&) {
    keepOutOfMemory();
  } catch (const std::exception&) {
    keepUnknown();
  }
  return decltype(call())();
}

/// A new object; null when memory ran out, which guarded callers learn as an error, too.
template <class Object>
Object* make() {
  try {
    return new Object;
  } catch (const std::bad_alloc&) {
    if (isGuarded()) keepOutOfMemory();
    return nullptr;
  }
}

/// The object behind a handle as a `Wanted`; null, after an assertion, for a null handle and for
/// one of another kind.
template <class Wanted, class Base>
Wanted* object(void* handle, int line) {
  auto* base = static_cast<Base*>(handle);
  Wanted* wanted = base != nullptr ? dynamic_cast<Wanted*>(base) : nullptr;
  kx_Check(wanted != nullptr, kSource, line);
  return wanted;
}

/// Runs `call` on the object, or answers zero when there is none.
template <class Object, class Call>
auto onObject(Object* target, Call call) -> decltype(call(*target)) {
  using Result = decltype(call(*target));
  return run([&]() -> Result { return target != nullptr ? call(*target) : Result(); });
}

/// Runs `call`, which hands a second handle to a member. Null passes on, since members assert it
/// themselves; a handle of another kind is refused with a zero answer.
template <class Wanted, class Base, class Call>
auto withSecond(void* handle, int line, Call call) -> decltype(call(static_cast<Wanted*>(handle))) {
  using Result = decltype(call(static_cast<Wanted*>(handle)));
  if (handle == nullptr) return call(nullptr);
  auto* const second = object<Wanted, Base>(handle, line);
  return second != nullptr ? call(second) : Result();
}

/// Copies a text with its terminator into `buffer`, unless that is null; the text's length.
inline unsigned long copyOut(const _String& text, wchar_t* buffer) {
  const size_t length = std::wcslen(text.c_str());
  if (buffer != nullptr) std::wmemcpy(buffer, text.c_str(), length + 1);
  return static_cast<unsigned long>(length);
}

inline int truth(bool value) { return value ? 1 : 0; }

}  // namespace kx_gen::flat
