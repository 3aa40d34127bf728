#include <iconv.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Errors.h"
#include "Utf8.h"
#include "WinApi.h"

using kx_posix::Fail;
using kx_posix::IsSurrogate;

namespace {

constexpr UINT kDefaultCodePage = 1252;

constexpr unsigned char kFirstTabled = 0x80;

/// A single-byte code page.
struct CodePageTable {
  UINT number;
  std::array<char16_t, 128> upperHalf;  ///< The characters of the bytes 80 to FF.
};

constexpr CodePageTable kTables[] = {
#define KX_CODE_PAGE(number, ...) {number, {__VA_ARGS__}},
#include "CodePages.inc"
#undef KX_CODE_PAGE
};

/// A code page, one character at a time.
class CodePage {
 public:
  CodePage() = default;
  virtual ~CodePage() = default;
  CodePage(const CodePage&) = delete;
  CodePage& operator=(const CodePage&) = delete;
  /// Appends the bytes of a character; false, and nothing appended, when it has none.
  virtual bool Encode(uint32_t codePoint, std::string* bytes) = 0;
  /// Takes the next character; false, and nothing taken, where the bytes stand for none.
  virtual bool Decode(std::string_view bytes, size_t* at, uint32_t* codePoint) = 0;
  /// What stands for bytes that mean nothing.
  virtual uint32_t UnknownCharacter() const { return U'?'; }
};

class TabledCodePage : public CodePage {
 public:
  explicit TabledCodePage(const CodePageTable& table) : upperHalf_(table.upperHalf) {}

  bool Encode(uint32_t codePoint, std::string* bytes) override {
    if (codePoint < kFirstTabled) {
      bytes->push_back(static_cast<char>(codePoint));
      return true;
    }
    const auto* const found = std::find(upperHalf_.begin(), upperHalf_.end(), codePoint);
    if (found == upperHalf_.end()) return false;
    bytes->push_back(static_cast<char>(kFirstTabled + (found - upperHalf_.begin())));
    return true;
  }

  bool Decode(std::string_view bytes, size_t* at, uint32_t* codePoint) override {
    const auto byte = static_cast<unsigned char>(bytes[(*at)++]);
    *codePoint = byte < kFirstTabled ? byte : upperHalf_.at(byte - size_t{kFirstTabled});
    return true;
  }

 private:
  const std::array<char16_t, 128>& upperHalf_;
};

class Utf8CodePage : public CodePage {
 public:
  bool Encode(uint32_t codePoint, std::string* bytes) override {
    if (IsSurrogate(codePoint)) return false;
    kx_posix::AppendUtf8(codePoint, bytes);
    return true;
  }
  bool Decode(std::string_view bytes, size_t* at, uint32_t* codePoint) override {
    return kx_posix::TakeUtf8(bytes, at, codePoint);
  }
  uint32_t UnknownCharacter() const override { return kx_posix::kReplacementCharacter; }
};

/// A converter of the C library, which has code pages of more bytes where the system carries them.
/// Characters cross it as UTF-32 in the order of this machine.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(::iconv_open(to, from)) {}
  ~Converter() {
    if (IsOpen()) ::iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  // The failure value of the C library is a pointer cast from -1.
  bool IsOpen() const { return reinterpret_cast<intptr_t>(handle_) != -1; }

  /// Converts the bytes as a whole; the count written, nothing when they mean nothing.
  std::optional<size_t> Convert(std::string bytes, char* out, size_t room) {
    char* from = bytes.data();
    size_t size = bytes.size();
    char* to = out;
    size_t left = room;
    const size_t result = ::iconv(handle_, &from, &size, &to, &left);
    if (result == 0 && size == 0 && ::iconv(handle_, nullptr, nullptr, &to, &left) == 0) {
      return room - left;
    }
    ::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    return std::nullopt;
  }

 private:
  iconv_t handle_;
};

class ConvertedCodePage : public CodePage {
 public:
  explicit ConvertedCodePage(const std::string& name)
      : encoder_(name.c_str(), "WCHAR_T"), decoder_("WCHAR_T", name.c_str()) {}
  bool IsKnown() const { return encoder_.IsOpen() && decoder_.IsOpen(); }

  bool Encode(uint32_t codePoint, std::string* bytes) override {
    const auto character = static_cast<wchar_t>(codePoint);
    char out[kMaxCharacterBytes];
    const std::string in(reinterpret_cast<const char*>(&character), sizeof(character));
    const auto size = encoder_.Convert(in, out, sizeof(out));
    if (size) bytes->append(out, *size);
    return size.has_value();
  }

  /// A character is the shortest run of bytes that converts.
  bool Decode(std::string_view bytes, size_t* at, uint32_t* codePoint) override {
    for (size_t length = 1; length <= kMaxCharacterBytes && length <= bytes.size() - *at;
         ++length) {
      wchar_t character = 0;
      const auto size = decoder_.Convert(std::string(bytes.substr(*at, length)),
                                         reinterpret_cast<char*>(&character), sizeof(character));
      if (size != sizeof(character)) continue;
      *codePoint = static_cast<uint32_t>(character);
      *at += length;
      return true;
    }
    return false;
  }

 private:
  static constexpr size_t kMaxCharacterBytes = 8;
  Converter encoder_;
  Converter decoder_;
};

std::unique_ptr<CodePage> OpenCodePage(UINT number) {
  if (number == CP_ACP) number = kDefaultCodePage;
  if (number == CP_UTF8) return std::make_unique<Utf8CodePage>();
  for (const CodePageTable& table : kTables) {
    if (table.number == number) return std::make_unique<TabledCodePage>(table);
  }
  auto converted = std::make_unique<ConvertedCodePage>("CP" + std::to_string(number));
  return converted->IsKnown() ? std::move(converted) : nullptr;
}

/// How many UTF-16 units a character takes.
size_t UnitCount(uint32_t codePoint) { return codePoint > 0xFFFF ? 2 : 1; }

struct Narrowed {
  std::string bytes;
  bool isLossy = false;
};

Narrowed Narrow(CodePage& page, std::wstring_view text, std::string_view replacement) {
  Narrowed result;
  for (size_t at = 0; at < text.size();) {
    const uint32_t codePoint = kx_posix::TakeCodePoint(text, &at);
    if (page.Encode(codePoint, &result.bytes)) continue;
    result.isLossy = true;
    for (size_t i = 0; i < UnitCount(codePoint); ++i) result.bytes += replacement;
  }
  return result;
}

struct Widened {
  std::wstring text;
  bool isLossy = false;
};

Widened Widen(CodePage& page, std::string_view bytes) {
  Widened result;
  for (size_t at = 0; at < bytes.size();) {
    uint32_t codePoint = 0;
    if (!page.Decode(bytes, &at, &codePoint)) {
      codePoint = page.UnknownCharacter();
      result.isLossy = true;
      ++at;
    }
    kx_posix::AppendWide(codePoint, &result.text);
  }
  return result;
}

/// Hands a converted text out: its length when there is no room asked for, else the count copied.
template <class Text, class Character>
int HandOut(const Text& text, Character* buffer, int size) {
  if (size == 0) return static_cast<int>(text.size());
  const auto room = static_cast<size_t>(size);
  text.copy(buffer, room);
  return text.size() <= room ? static_cast<int>(text.size()) : Fail(ERROR_INSUFFICIENT_BUFFER);
}

/// The part of a text that a caller means: all of it with its terminator for a length of -1.
template <class Character>
std::basic_string_view<Character> PartOf(const Character* text, int length) {
  if (length >= 0) return {text, static_cast<size_t>(length)};
  return {text, std::basic_string_view<Character>(text).size() + 1};
}

template <class Source, class Target>
bool AreArgumentsValid(const Source* text, int length, const Target* buffer, int size) {
  const bool isSourceValid = text != nullptr && length != 0 && length >= -1;
  return isSourceValid && size >= 0 && (size == 0 || buffer != nullptr);
}

}  // namespace

UINT GetACP() { return kDefaultCodePage; }

// NOLINTNEXTLINE(readability-function-size): the parameters are Windows' own
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer,
                        int size, LPCSTR defaultChar, LPBOOL usedDefaultChar) {
  const bool isUtf8 = codePage == CP_UTF8;
  const bool wantsDefault = defaultChar != nullptr || usedDefaultChar != nullptr;
  if (!AreArgumentsValid(text, length, buffer, size) || (isUtf8 && wantsDefault)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const std::unique_ptr<CodePage> page = OpenCodePage(codePage);
  if (page == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const char* const replacement = isUtf8                   ? "\xEF\xBF\xBD"
                                  : defaultChar != nullptr ? defaultChar
                                                           : "?";
  const Narrowed result = Narrow(*page, PartOf(text, length), replacement);
  if (usedDefaultChar != nullptr) *usedDefaultChar = result.isLossy ? TRUE : FALSE;
  if (isUtf8 && result.isLossy && (flags & WC_ERR_INVALID_CHARS) != 0) {
    return Fail(ERROR_NO_UNICODE_TRANSLATION);
  }
  return HandOut(result.bytes, buffer, size);
}

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer,
                        int size) {
  if (!AreArgumentsValid(text, length, buffer, size)) return Fail(ERROR_INVALID_PARAMETER);
  const std::unique_ptr<CodePage> page = OpenCodePage(codePage);
  if (page == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const Widened result = Widen(*page, PartOf(text, length));
  if (result.isLossy && (flags & MB_ERR_INVALID_CHARS) != 0) {
    return Fail(ERROR_NO_UNICODE_TRANSLATION);
  }
  return HandOut(result.text, buffer, size);
}
