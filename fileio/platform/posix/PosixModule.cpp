#include <algorithm>
#include <atomic>
#include <cwchar>
#include <iterator>

#include "Errors.h"
#include "Module.h"
#include "WinApi.h"

namespace {

constexpr kx_StringResource kOwnTexts[] = {
#define KX_STRING(id, text) {id, L##text},
#include "StringTable.inc"
#undef KX_STRING
};

// Not constant only because handles point to what is not; nobody changes it.
kx_StringResources ownResources = {kOwnTexts, std::size(kOwnTexts)};

std::atomic<HINSTANCE> recordedModule{&ownResources};

const wchar_t* FindText(HINSTANCE module, UINT id) {
  if (module == nullptr) return nullptr;
  const auto* const resources = static_cast<const kx_StringResources*>(module);
  const auto* const end = resources->entries + resources->count;
  const auto hasId = [id](const kx_StringResource& entry) { return entry.id == id; };
  const auto* const found = std::find_if(resources->entries, end, hasId);
  return found != end ? found->text : nullptr;
}

}  // namespace

HINSTANCE kx_GetModule() { return recordedModule; }

void kx_SetModule(HINSTANCE module) { recordedModule = module; }

int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size) {
  if (buffer == nullptr || size <= 0) return kx_posix::Fail(ERROR_INVALID_PARAMETER);
  buffer[0] = L'\0';
  const wchar_t* const text = FindText(module, id);
  if (text == nullptr) return kx_posix::Fail(ERROR_RESOURCE_NAME_NOT_FOUND);
  const size_t length = std::min(std::wcslen(text), static_cast<size_t>(size) - 1);
  std::wmemcpy(buffer, text, length);
  buffer[length] = L'\0';
  return static_cast<int>(length);
}
