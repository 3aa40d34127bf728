// kxo_terminal FILE PROGRAM [ARGUMENTS]: runs a program on a console and writes what the console
// shows to a file, in UTF-8. Its exit code is the program's.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "CommandLineWords.h"

namespace {

constexpr COORD kSize = {400, 400};
/// Fills what nobody has written: a character that no program shows.
constexpr wchar_t kUnwritten = L'\xE000';

/// A console's screen with room for all that a test shows.
class Screen {
 public:
  Screen() {
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    handle_ =
        CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  &inherited, CONSOLE_TEXTMODE_BUFFER, nullptr);
    SetConsoleScreenBufferSize(handle_, kSize);
    DWORD count = 0;
    FillConsoleOutputCharacterW(handle_, kUnwritten, static_cast<DWORD>(kSize.X) * kSize.Y, {0, 0},
                                &count);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() { CloseHandle(handle_); }
  HANDLE get() const { return handle_; }

  std::wstring Text() const {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    GetConsoleScreenBufferInfo(handle_, &info);
    std::wstring text;
    for (SHORT row = 0; row < info.dwCursorPosition.Y; ++row) text += Line(row) + L'\n';
    return text + Line(info.dwCursorPosition.Y);
  }

 private:
  std::wstring Line(SHORT row) const {
    std::vector<wchar_t> cells(kSize.X);
    DWORD count = 0;
    ReadConsoleOutputCharacterW(handle_, cells.data(), kSize.X, {0, row}, &count);
    const std::wstring line(cells.data(), count);
    return line.substr(0, line.find(kUnwritten));
  }

  HANDLE handle_;
};

int Run(const std::vector<std::wstring>& words, HANDLE screen) {
  std::wstring line = kxo_test::LineOf(words);
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = screen;
  startup.hStdError = screen;
  PROCESS_INFORMATION process = {};
  if (CreateProcessW(words[0].c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                     &startup, &process) == FALSE) {
    return 127;
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  return static_cast<int>(code);
}

bool Write(const std::wstring& text, const wchar_t* path) {
  std::vector<char> bytes(3 * text.size() + 1);
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                          static_cast<int>(bytes.size()), nullptr, nullptr);
  std::FILE* const file = _wfopen(path, L"wb");
  if (file == nullptr) return false;
  const bool written =
      std::fwrite(bytes.data(), 1, static_cast<size_t>(size), file) == static_cast<size_t>(size);
  return std::fclose(file) == 0 && written;
}

}  // namespace

int wmain(int count, wchar_t** words) {
  if (count < 3) return 127;
  const Screen screen;
  const int code = Run(std::vector<std::wstring>(words + 2, words + count), screen.get());
  return Write(screen.Text(), words[1]) ? code : 127;
}
