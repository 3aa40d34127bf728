#include "Format.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <vector>

#include "Text.h"

namespace kx_gen {

namespace {

// What stands between % and the conversion letter.
struct Directive {
  std::string flags;
  int width = -1;
  int precision = -1;
  std::string length;  // h, hh, l, ll, L, z, t, j, I, I32, I64, w
  wchar_t conversion = 0;

  bool has(char flag) const { return flags.find(flag) != std::string::npos; }
};

// A va_list is an array on some systems and cannot travel by reference there; in a struct it can.
struct Arguments {
  va_list list;
};

constexpr int kWidthMax = 1 << 16;  // a longer line than any buffer of the library holds
constexpr int kCountMax = 1 << 30;

int readCount(const wchar_t*& at, Arguments& args) {
  if (*at == L'*') {
    ++at;
    return std::clamp(va_arg(args.list, int), -kCountMax, kCountMax);
  }
  int64_t count = 0;
  while (*at >= L'0' && *at <= L'9') {
    count = std::min<int64_t>(count * 10 + (*at++ - L'0'), kCountMax);
  }
  return static_cast<int>(count);
}

bool takePrefix(const wchar_t*& at, const wchar_t* prefix) {
  const size_t length = std::wcslen(prefix);
  if (std::wcsncmp(at, prefix, length) != 0) return false;
  at += length;
  return true;
}

std::string readLength(const wchar_t*& at) {
  static constexpr const wchar_t* kLengths[] = {L"I64", L"I32", L"hh", L"ll", L"h", L"l",
                                                L"L",   L"z",   L"t",  L"j",  L"w", L"I"};
  for (const wchar_t* length : kLengths) {
    if (takePrefix(at, length)) return std::string(length, length + std::wcslen(length));
  }
  return std::string();
}

Directive readDirective(const wchar_t*& at, Arguments& args) {
  Directive directive;
  while (*at != 0 && std::wcschr(L"-+ #0", *at) != nullptr) {
    directive.flags += static_cast<char>(*at++);
  }
  if (*at == L'*' || (*at >= L'1' && *at <= L'9')) {
    directive.width = readCount(at, args);
    if (directive.width < 0) {
      directive.flags += '-';
      directive.width = -directive.width;
    }
  }
  if (*at == L'.') {
    ++at;
    directive.precision = readCount(at, args);
  }
  directive.length = readLength(at);
  directive.conversion = *at;
  if (*at != 0) ++at;
  return directive;
}

std::string specification(const Directive& directive, const char* length) {
  std::string spec = "%" + directive.flags;
  if (directive.width >= 0) spec += std::to_string(std::min(directive.width, kWidthMax));
  if (directive.precision >= 0) {
    spec += "." + std::to_string(std::min(directive.precision, kWidthMax));
  }
  return spec + length + static_cast<char>(directive.conversion);
}

template <class Value>
void appendNumber(std::wstring& out, const Directive& directive, const char* length, Value value) {
  const std::string spec = specification(directive, length);
  const int needed = std::snprintf(nullptr, 0, spec.c_str(), value);
  if (needed <= 0) return;
  std::vector<char> text(static_cast<size_t>(needed) + 1);
  std::snprintf(text.data(), text.size(), spec.c_str(), value);
  out.append(text.begin(), text.end() - 1);
}

// Integers travel as 64 bits, cut to their stated width first.
void appendInteger(std::wstring& out, const Directive& directive, Arguments& args) {
  const std::string& length = directive.length;
  const bool isSigned = directive.conversion == L'd' || directive.conversion == L'i';
  int64_t value = 0;
  size_t width = sizeof(int);
  if (length == "l") {
    value = va_arg(args.list, long);
    width = sizeof(long);
  } else if (length == "ll" || length == "I64" || length == "j") {
    value = static_cast<int64_t>(va_arg(args.list, long long));
    width = sizeof(long long);
  } else if (length == "z" || length == "t" || length == "I") {
    value = static_cast<int64_t>(va_arg(args.list, std::ptrdiff_t));
    width = sizeof(std::ptrdiff_t);
  } else {
    value = va_arg(args.list, int);
    if (length == "h") width = sizeof(short);
    if (length == "hh") width = sizeof(char);
  }
  const auto shift = static_cast<unsigned>(64 - 8 * width);
  const uint64_t shifted = static_cast<uint64_t>(value) << shift;
  if (isSigned) {
    appendNumber(out, directive, "ll",
                 static_cast<long long>(static_cast<int64_t>(shifted) >> shift));
  } else {
    appendNumber(out, directive, "ll", static_cast<unsigned long long>(shifted >> shift));
  }
}

void appendPadded(std::wstring& out, const Directive& directive, const std::wstring& text) {
  const auto width = static_cast<size_t>(std::clamp(directive.width, 0, kWidthMax));
  const size_t length = unitsOf(text);
  const size_t padding = width > length ? width - length : 0;
  if (!directive.has('-')) out.append(padding, L' ');
  out += text;
  if (directive.has('-')) out.append(padding, L' ');
}

// As many UTF-16 units of a text as the precision allows; the text need not end before that.
template <class Character>
std::wstring limited(const Character* text, int precision) {
  std::wstring out;
  if (text == nullptr) return limited(L"(null)", precision);
  const size_t most = precision < 0 ? SIZE_MAX : static_cast<size_t>(precision);
  for (size_t i = 0; i < most && text[i] != 0; ++i) {
    out.push_back(static_cast<wchar_t>(static_cast<std::make_unsigned_t<Character>>(text[i])));
  }
  cutToUnits(out, most);
  return out;
}

bool isNarrow(const Directive& directive) {
  const bool capital = directive.conversion == L'S' || directive.conversion == L'C';
  return directive.length == "h" || (capital && directive.length.empty());
}

void appendText(std::wstring& out, const Directive& directive, Arguments& args) {
  if (isNarrow(directive)) {
    appendPadded(out, directive, limited(va_arg(args.list, const char*), directive.precision));
  } else {
    appendPadded(out, directive, limited(va_arg(args.list, const wchar_t*), directive.precision));
  }
}

void appendCharacter(std::wstring& out, const Directive& directive, Arguments& args) {
  const int value = va_arg(args.list, int);
  const wchar_t c = isNarrow(directive) ? static_cast<wchar_t>(static_cast<unsigned char>(value))
                                        : static_cast<wchar_t>(value);
  appendPadded(out, directive, std::wstring(1, c));
}

void appendFloat(std::wstring& out, const Directive& directive, Arguments& args) {
  if (directive.length == "L") {
    appendNumber(out, directive, "", static_cast<double>(va_arg(args.list, long double)));
  } else {
    appendNumber(out, directive, "", va_arg(args.list, double));
  }
}

// False for a letter that is no conversion.
bool appendConverted(std::wstring& out, const Directive& directive, Arguments& args) {
  const wchar_t conversion = directive.conversion;
  if (conversion == 0) return false;
  if (std::wcschr(L"diouxX", conversion) != nullptr) {
    appendInteger(out, directive, args);
  } else if (std::wcschr(L"aAeEfFgG", conversion) != nullptr) {
    appendFloat(out, directive, args);
  } else if (conversion == L's' || conversion == L'S') {
    appendText(out, directive, args);
  } else if (conversion == L'c' || conversion == L'C') {
    appendCharacter(out, directive, args);
  } else if (conversion == L'p') {
    appendNumber(out, directive, "", va_arg(args.list, void*));
  } else if (conversion == L'n') {
    static_cast<void>(va_arg(args.list, void*));
  } else if (conversion == L'%') {
    out.push_back(L'%');
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::wstring formatWide(const wchar_t* format, va_list args) {
  std::wstring out;
  if (format == nullptr) return out;
  Arguments arguments = {};
  va_copy(arguments.list, args);
  for (const wchar_t* at = format; *at != 0;) {
    const wchar_t* const start = at;
    if (*at++ != L'%') {
      out.push_back(*start);
    } else if (!appendConverted(out, readDirective(at, arguments), arguments)) {
      out.append(start, at);  // shown as it stands
    }
  }
  va_end(arguments.list);
  return out;
}

}  // namespace kx_gen
