/// The library's wide string.
#pragma once

#include <string>
#include <type_traits>

#include "KxPlatform.h"

namespace kx_gen {

class CFileStream;

/// Wide text: UTF-16 on Windows, one character a code point elsewhere. A `std::wstring` with narrow
/// assignment, formatting, string resources, blank trimming and the two line-end conversions.
class KX_API _String : public std::wstring {
 public:
  _String() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): text converts both ways on purpose
  _String(const wchar_t* text);  ///< Null means "".
  _String(const _String&) = default;
  _String(_String&&) = default;
  ~_String() = default;

  _String& operator=(const _String&) = default;
  _String& operator=(_String&&) = default;
  _String& operator=(const wchar_t* text);  ///< Null means "".
  _String& operator=(wchar_t character);    ///< That one character.
  _String& operator=(const std::wstring& text);
  _String& operator=(const char* text);  ///< `AssignAscii` of the whole text.
  _String& operator=(char character);    ///< `AssignAscii` of that character; a null gives "".

  /// Assigns null-terminated narrow text through the C runtime's `mbstowcs` in the current locale:
  /// at most `length` + 1 characters; 0xFFFFFFFF means all of them. A length of 0, a null text or a
  /// refused conversion leaves the string as it was.
  void AssignAscii(const char* text, unsigned int length);

  // NOLINTNEXTLINE(google-explicit-constructor)
  operator const wchar_t*() const { return c_str(); }  ///< Valid until the string changes.
  // Elements; the index is not checked.
  wchar_t& operator[](int index) { return at_(static_cast<size_type>(index)); }
  wchar_t& operator[](unsigned int index) { return at_(index); }
  const wchar_t& operator[](int index) const { return at_(static_cast<size_type>(index)); }
  const wchar_t& operator[](unsigned int index) const { return at_(index); }
  template <class Index, class = std::enable_if_t<std::is_integral<Index>::value>>
  wchar_t& operator[](Index index) {
    return at_(static_cast<size_type>(index));
  }
  template <class Index, class = std::enable_if_t<std::is_integral<Index>::value>>
  const wchar_t& operator[](Index index) const {
    return at_(static_cast<size_type>(index));
  }

  /// Makes the string `size` + 1 characters long, padded with nulls or cut, and returns its buffer,
  /// which the caller may fill until the string changes.
  wchar_t* GetBuffer(unsigned long size);

  /// Replaces the contents by the formatted text; the directives are those of `KX_Trace`. Arguments
  /// may point into this string.
  void FormatString(const wchar_t* format, ...);

  /// Loads string resource `id` of the library. False, and nothing changed, when there is none.
  bool LoadStringW(unsigned int id);

  void TrimLeft();   ///< Removes leading blanks (0x20 only).
  void TrimRight();  ///< Removes trailing blanks (0x20 only).

  void palmToPlatform();  ///< Every line feed becomes carriage return and line feed.
  void platformToPalm();  ///< Drops every carriage return.

 private:
  wchar_t& at_(size_type index) { return std::wstring::operator[](index); }
  const wchar_t& at_(size_type index) const { return std::wstring::operator[](index); }
};

/// Texts are compared up to their first null character.
KX_API bool operator==(const _String& a, const _String& b);
KX_API bool operator!=(const _String& a, const _String& b);
KX_API bool operator==(const _String& a, const wchar_t* b);
KX_API bool operator!=(const _String& a, const wchar_t* b);
KX_API bool operator==(const wchar_t* a, const _String& b);
KX_API bool operator!=(const wchar_t* a, const _String& b);

/// `a` with `b` behind it.
KX_API _String operator+(const _String& a, const _String& b);
KX_API _String operator+(const _String& a, wchar_t b);

/// Writes marker, length in UTF-16 units and the units to the stream.
KX_API CFileStream& operator<<(CFileStream& stream, _String& text);
KX_API CFileStream& operator<<(CFileStream& stream, const _String& text);
/// Reading a string is not provided: asserts and reads nothing.
KX_API CFileStream& operator>>(CFileStream& stream, _String& text);

/// Sets the code page of the narrow text in string tags for the whole process, for files from
/// devices of other regions. 0 restores the default: the system's ANSI code page on Windows, 1252
/// elsewhere. False when the system does not know the page: texts are then taken for 1252.
KX_API bool setNarrowCodePage(unsigned int codePage);

}  // namespace kx_gen
