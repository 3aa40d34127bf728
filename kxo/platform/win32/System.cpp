#include "System.h"

#include <windows.h>
// After windows.h, which it needs.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <system_error>

#include "Text.h"

namespace kxo::sys {

namespace fs = std::filesystem;

namespace {

std::atomic<bool> wasInterrupted{false};

struct NamedCodePage {
  std::string_view name;
  unsigned int codePage;
};

/// Those that files name beside Unicode and Windows-1252, in lower case. "cp" may stand in front of
/// the number of any.
constexpr std::array<NamedCodePage, 31> kCodePages = {{
    {"windows-1250", 1250}, {"windows-1251", 1251}, {"windows-1253", 1253}, {"windows-1254", 1254},
    {"windows-1255", 1255}, {"windows-1256", 1256}, {"windows-1257", 1257}, {"windows-1258", 1258},
    {"windows-874", 874},   {"iso-8859-2", 28592},  {"iso-8859-3", 28593},  {"iso-8859-4", 28594},
    {"iso-8859-5", 28595},  {"iso-8859-6", 28596},  {"iso-8859-7", 28597},  {"iso-8859-8", 28598},
    {"iso-8859-9", 28599},  {"iso-8859-13", 28603}, {"iso-8859-15", 28605}, {"koi8-r", 20866},
    {"koi8-u", 21866},      {"shift_jis", 932},     {"euc-jp", 51932},      {"iso-2022-jp", 50220},
    {"gb2312", 936},        {"gbk", 936},           {"gb18030", 54936},     {"big5", 950},
    {"euc-kr", 949},        {"macintosh", 10000},   {"ibm437", 437},
}};

unsigned int CodePageOf(const std::string& encoding) {
  const std::string name = LowerCase(encoding);
  for (const NamedCodePage& known : kCodePages) {
    if (known.name == name) return known.codePage;
  }
  if (name.rfind("cp", 0) != 0) return 0;
  unsigned int codePage = 0;
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + 2, end, codePage);
  return error == std::errc() && stop == end ? codePage : 0;
}

/// Characters that `length` bytes are, or 0 when they are not text. Some code pages refuse the flag
/// that asks for strictness.
int CountWide(unsigned int codePage, const char* bytes, int length) {
  const int strict =
      ::MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes, length, nullptr, 0);
  if (strict > 0 || ::GetLastError() != ERROR_INVALID_FLAGS) return strict;
  return ::MultiByteToWideChar(codePage, 0, bytes, length, nullptr, 0);
}

/// Where the first character begins that is none. The system tells only that there is one.
size_t FirstBadOffset(unsigned int codePage, std::string_view bytes) {
  constexpr int kLongest = 4;  // bytes of a character
  size_t at = 0;
  while (at < bytes.size()) {
    const int most = static_cast<int>(std::min<size_t>(kLongest, bytes.size() - at));
    int length = 1;
    while (length <= most && CountWide(codePage, bytes.data() + at, length) == 0) ++length;
    if (length > most) break;
    at += static_cast<size_t>(length);
  }
  return at;
}

/// A folder that a variable names by an absolute path; empty when it names none.
fs::path FolderIn(const wchar_t* variable) {
  const wchar_t* value = ::_wgetenv(variable);
  fs::path folder = value != nullptr ? value : L"";
  return folder.is_absolute() ? folder : fs::path();
}

/// A fresh folder; empty when none can be made.
fs::path MakeFolderIn(const fs::path& parent) {
  std::error_code error;
  for (unsigned int i = 0; i < 100; ++i) {
    fs::path folder = parent / ("kxo-" + std::to_string(::GetCurrentProcessId()) + "-" +
                                std::to_string(::GetTickCount() + i));
    if (fs::create_directory(folder, error)) return folder;
  }
  return {};
}

HANDLE HandleOf(std::FILE* stream) {
  return reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
}

/// In pieces that a console takes, none of which ends inside a pair of surrogates.
bool ShowOnConsole(HANDLE console, std::wstring_view text) {
  constexpr size_t kPiece = 8000;
  while (!text.empty()) {
    size_t count = std::min(kPiece, text.size());
    if (count < text.size() && IS_HIGH_SURROGATE(text[count - 1])) --count;
    DWORD shown = 0;
    if (::WriteConsoleW(console, text.data(), static_cast<DWORD>(count), &shown, nullptr) ==
        FALSE) {
      return false;
    }
    text.remove_prefix(count);
  }
  return true;
}

}  // namespace

std::vector<std::string> Arguments(int /*argc*/, char** /*argv*/) {
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  for (int i = 1; words != nullptr && i < count; ++i) arguments.push_back(FromWide(words[i]));
  ::LocalFree(words);
  return arguments;
}

void PrepareStreams() {
  ::_setmode(::_fileno(stdin), _O_BINARY);
  ::_setmode(::_fileno(stdout), _O_BINARY);
  ::_setmode(::_fileno(stderr), _O_BINARY);
}

bool IsTerminal(std::FILE* stream) { return ::_isatty(::_fileno(stream)) != 0; }

size_t TerminalWidth(std::FILE* stream) {
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  const bool known = ::GetConsoleScreenBufferInfo(HandleOf(stream), &info) != FALSE;
  return known && info.dwSize.X > 0 ? static_cast<size_t>(info.dwSize.X) : 0;
}

bool CanColour(std::FILE* stream) {
  DWORD mode = 0;
  const HANDLE console = HandleOf(stream);
  return Variable("TERM") != "dumb" && ::GetConsoleMode(console, &mode) != FALSE &&
         ::SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

std::string Variable(const char* name) {
  const wchar_t* value = ::_wgetenv(ToWide(name).c_str());
  return value == nullptr ? "" : FromWide(value);
}

bool Write(std::FILE* stream, std::string_view utf8) {
  const HANDLE handle = HandleOf(stream);
  DWORD mode = 0;
  if (::GetConsoleMode(handle, &mode) != FALSE) return ShowOnConsole(handle, ToWide(utf8));
  return std::fwrite(utf8.data(), 1, utf8.size(), stream) == utf8.size() &&
         std::fflush(stream) == 0;
}

void CatchInterrupt() {
  // Called in a thread of its own. What it refuses, the system's own handler takes, and ends us.
  ::SetConsoleCtrlHandler(
      [](DWORD event) -> BOOL {
        const bool isOurs = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
        return isOurs && !wasInterrupted.exchange(true) ? TRUE : FALSE;
      },
      TRUE);
}

bool WasInterrupted() { return wasInterrupted; }

fs::path StateFolder() {
  const fs::path local = FolderIn(L"LOCALAPPDATA");
  return local.empty() ? local : local / "kxo";
}

bool MakeWritableFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  std::array<wchar_t, MAX_PATH> probe{};
  if (::GetTempFileNameW(folder.c_str(), L"kxo", 0, probe.data()) == 0) return false;
  ::DeleteFileW(probe.data());
  return true;
}

fs::path MakeTemporaryFolder() {
  for (const fs::path& parent : {FolderIn(L"TMP"), FolderIn(L"TEMP"), FolderIn(L"USERPROFILE"),
                                 FolderIn(L"SystemRoot") / "Temp"}) {
    if (!parent.is_absolute()) continue;
    if (fs::path folder = MakeFolderIn(parent); !folder.empty()) return folder;
  }
  return {};
}

LibraryName::LibraryName(const fs::path& file) : name_(file.wstring()) {}

LibraryName::~LibraryName() = default;

std::optional<Converted> ToUtf8(std::string_view bytes, const std::string& encoding) {
  const unsigned int codePage = CodePageOf(encoding);
  if (codePage == 0 || bytes.size() > INT_MAX) return std::nullopt;
  Converted converted;
  if (bytes.empty()) return converted;
  int length = static_cast<int>(bytes.size());
  int count = CountWide(codePage, bytes.data(), length);
  if (count == 0) {
    converted.badOffset = FirstBadOffset(codePage, bytes);
    length = static_cast<int>(*converted.badOffset);
    count = length == 0 ? 0 : CountWide(codePage, bytes.data(), length);
  }
  std::wstring text(static_cast<size_t>(count), L'\0');
  ::MultiByteToWideChar(codePage, 0, bytes.data(), length, text.data(), count);
  converted.utf8 = FromWide(text);
  return converted;
}

}  // namespace kxo::sys
