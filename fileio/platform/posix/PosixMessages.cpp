#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "Errors.h"
#include "FileNames.h"
#include "SystemCalls.h"
#include "WinApi.h"

namespace {

struct SystemText {
  DWORD code;
  const wchar_t* text;
};

constexpr SystemText kSystemTexts[] = {
#define KX_ERROR(name, code, text) {code, L##text L"\r\n"},
#include "SystemErrors.inc"
#undef KX_ERROR
};

const SystemText* FindSystemText(DWORD code) {
  const auto hasCode = [code](const SystemText& row) { return row.code == code; };
  const auto* const end = std::end(kSystemTexts);
  const auto* const found = std::find_if(std::begin(kSystemTexts), end, hasCode);
  return found != end ? found : nullptr;
}

wchar_t* AllocateText(size_t characters) {
  return static_cast<wchar_t*>(LocalAlloc(LMEM_FIXED, characters * sizeof(wchar_t)));
}

DWORD CopyText(std::wstring_view text, LPWSTR buffer) {
  text.copy(buffer, text.size());
  buffer[text.size()] = L'\0';
  return static_cast<DWORD>(text.size());
}

DWORD FailMessage(DWORD error) {
  SetLastError(error);
  return 0;
}

}  // namespace

DWORD FormatMessageW(DWORD flags, LPCVOID /*source*/, DWORD messageId, DWORD /*languageId*/,
                     LPWSTR buffer, DWORD size, va_list* /*arguments*/) {
  const bool isAllocating = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
  // An allocated buffer is handed out through the buffer argument.
  auto* const allocated = isAllocating ? reinterpret_cast<LPWSTR*>(buffer) : nullptr;
  if (allocated != nullptr) *allocated = nullptr;
  if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0 || buffer == nullptr) {
    return FailMessage(ERROR_INVALID_PARAMETER);
  }
  const SystemText* const row = FindSystemText(messageId);
  if (row == nullptr) return FailMessage(ERROR_MR_MID_NOT_FOUND);
  const std::wstring_view text = row->text;
  if (allocated == nullptr) {
    return text.size() < size ? CopyText(text, buffer) : FailMessage(ERROR_INSUFFICIENT_BUFFER);
  }
  *allocated = AllocateText(std::max(text.size() + 1, static_cast<size_t>(size)));
  if (*allocated == nullptr) return FailMessage(ERROR_NOT_ENOUGH_MEMORY);
  return CopyText(text, *allocated);
}

void OutputDebugStringW(LPCWSTR text) {
  if (text == nullptr) return;
  // The nearest thing to a debugger's output. Nobody waits for it, so that its failure is silent.
  const std::string bytes = kx_posix::ToFileSystemText(text);
  [[maybe_unused]] const ssize_t written =
      kx_posix::Write(STDERR_FILENO, bytes.data(), bytes.size());
}
