#include "KxString.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <vector>

#include "FileStream.h"
#include "Format.h"
#include "KxLittleEndian.h"
#include "Module.h"
#include "Text.h"
#include "WinApi.h"
#include "kx_assert.h"

namespace kx_gen {

namespace {

constexpr unsigned int kWholeText = 0xFFFFFFFF;
constexpr unsigned int kResourceIdMax = 0xFFFF;
constexpr int kResourceStep = 512;    // characters of the first two buffers for a resource
constexpr int kResourceGrowth = 256;  // and what each later one has more
constexpr int kLineStringRead = 624;

const wchar_t* orEmpty(const wchar_t* text) { return text != nullptr ? text : L""; }

}  // namespace

_String::_String(const wchar_t* text) : std::wstring(orEmpty(text)) {}

_String& _String::operator=(const wchar_t* text) {
  assign(orEmpty(text));
  return *this;
}

_String& _String::operator=(wchar_t character) {
  assign(1, character);
  return *this;
}

_String& _String::operator=(const std::wstring& text) {
  assign(text);
  return *this;
}

_String& _String::operator=(const char* text) {
  AssignAscii(text, kWholeText);
  return *this;
}

_String& _String::operator=(char character) {
  const char text[] = {character, '\0'};
  AssignAscii(text, 1);
  return *this;
}

void _String::AssignAscii(const char* text, unsigned int length) {
  if (text == nullptr) return;
  if (length == kWholeText) length = static_cast<unsigned int>(std::strlen(text));
  if (length == 0) return;
  // The conversion stops at the terminator: its length bounds the scratch space, whatever was
  // asked.
  const size_t most = std::min<size_t>(static_cast<size_t>(length), std::strlen(text)) + 1;
  std::vector<wchar_t> wide(most);
  const size_t converted = std::mbstowcs(wide.data(), text, most);
  if (converted == static_cast<size_t>(-1)) return;
  assign(wide.data(), converted);
}

wchar_t* _String::GetBuffer(unsigned long size) {
  resize(static_cast<size_type>(size) + 1);
  return data();
}

void _String::FormatString(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::wstring text;
  try {
    text = formatWide(format, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
  swap(text);
}

bool _String::LoadStringW(unsigned int id) {
  const HINSTANCE module = kx_GetModule();
  if (module == nullptr || id > kResourceIdMax) return false;
  std::vector<wchar_t> buffer(kResourceStep);
  int length = ::LoadStringW(module, id, buffer.data(), kResourceStep);
  if (length <= 0) return false;
  // Fewer than two characters of room left means that the text may be cut.
  for (int size = kResourceStep; length + 2 > static_cast<int>(buffer.size());
       size += kResourceGrowth) {
    buffer.assign(static_cast<size_t>(size), L'\0');
    length = ::LoadStringW(module, id, buffer.data(), size);
  }
  assign(buffer.data(), static_cast<size_t>(length));
  return true;
}

void _String::TrimLeft() { erase(0, find_first_not_of(L' ')); }

void _String::TrimRight() { erase(find_last_not_of(L' ') + 1); }

void _String::palmToPlatform() {
  std::wstring text;
  text.reserve(size());
  for (const wchar_t c : static_cast<const std::wstring&>(*this)) {
    if (c == L'\n') text.push_back(L'\r');
    text.push_back(c);
  }
  swap(text);
}

void _String::platformToPalm() {
  std::wstring text;
  text.reserve(size());
  for (const wchar_t c : static_cast<const std::wstring&>(*this)) {
    if (c != L'\r') text.push_back(c);
  }
  swap(text);
}

bool operator==(const _String& a, const _String& b) {
  return std::wcscmp(a.c_str(), b.c_str()) == 0;
}
bool operator!=(const _String& a, const _String& b) { return !(a == b); }
bool operator==(const _String& a, const wchar_t* b) {
  return std::wcscmp(a.c_str(), orEmpty(b)) == 0;
}
bool operator!=(const _String& a, const wchar_t* b) { return !(a == b); }
bool operator==(const wchar_t* a, const _String& b) { return b == a; }
bool operator!=(const wchar_t* a, const _String& b) { return !(b == a); }

_String operator+(const _String& a, const _String& b) {
  _String sum(a);
  sum.append(b);
  return sum;
}

_String operator+(const _String& a, wchar_t b) {
  _String sum(a);
  sum.push_back(b);
  return sum;
}

CFileStream& operator<<(CFileStream& stream, const _String& text) {
  const std::u16string units = toUtf16(text.c_str(), text.size());
  stream << static_cast<unsigned int>(format::kStreamStringMarker)
         << static_cast<unsigned int>(units.size());
  if (units.empty()) return stream;
  std::vector<unsigned char> image(units.size() * 2);
  for (size_t i = 0; i < units.size(); ++i) putLe16(&image[2 * i], units[i]);
  stream.Write(image.data(), static_cast<unsigned int>(image.size()));
  return stream;
}

CFileStream& operator<<(CFileStream& stream, _String& text) {
  return stream << static_cast<const _String&>(text);
}

CFileStream& operator>>(CFileStream& stream, _String& text) {
  static_cast<void>(text);
  kx_Check(false, ".\\FileStream", kLineStringRead);
  return stream;
}

}  // namespace kx_gen
