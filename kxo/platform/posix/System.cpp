#include "System.h"

#include <iconv.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <system_error>

#include "Text.h"

namespace kxo::sys {

namespace fs = std::filesystem;

namespace {

volatile std::sig_atomic_t wasInterrupted = 0;

fs::path HomeFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') return home;
  const passwd* user = ::getpwuid(::getuid());
  return user != nullptr && user->pw_dir != nullptr ? fs::path(user->pw_dir) : fs::path();
}

bool IsPlainText(const std::string& name) {
  for (size_t pos = 0; pos < name.size();) {
    const char32_t c = NextCodePoint(name, pos);
    if (c < 0x20 || c == kNotUtf8 || IsSurrogate(c)) return false;
  }
  return name.find_first_of("\\*?<>|\"") == std::string::npos;
}

/// The library takes the backslash for a separator, refuses wildcards and control characters, drops
/// dots and blanks at the end of a name, and knows names as Unicode text.
bool IsPlainForLibrary(const fs::path& file) {
  if (!IsPlainText(file.native())) return false;
  return std::none_of(file.begin(), file.end(), [](const fs::path& part) {
    const std::string& text = part.native();
    return !text.empty() && (text.back() == '.' || text.back() == ' ');
  });
}

/// A link in the current folder.
fs::path MakeAlias(const fs::path& target) {
  static int count = 0;
  const std::string alias = "file-" + std::to_string(::getpid()) + "-" + std::to_string(++count);
  std::error_code ignored;
  fs::remove(alias, ignored);  // of a process that had our number and died
  fs::create_symlink(target, alias);
  return fs::absolute(alias);
}

class Converter {
 public:
  explicit Converter(const std::string& from) : handle_(::iconv_open("UTF-8", from.c_str())) {}
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (IsOpen()) ::iconv_close(handle_);
  }
  // iconv's own mark for "none" is an integer in a pointer's clothes.
  bool IsOpen() const { return reinterpret_cast<intptr_t>(handle_) != -1; }
  Converted Convert(std::string_view bytes);

 private:
  iconv_t handle_;
};

Converted Converter::Convert(std::string_view bytes) {
  constexpr size_t kPieceSize = 65536;
  const auto piece = std::make_unique<std::array<char, kPieceSize>>();
  Converted converted;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): iconv does not write there
  char* in = const_cast<char*>(bytes.data());
  size_t inLeft = bytes.size();
  bool flushing = false;  // encodings with shift states may have an end to write
  while (true) {
    char* out = piece->data();
    size_t outLeft = kPieceSize;
    const size_t result = flushing ? ::iconv(handle_, nullptr, nullptr, &out, &outLeft)
                                   : ::iconv(handle_, &in, &inLeft, &out, &outLeft);
    converted.utf8.append(piece->data(), kPieceSize - outLeft);
    if (result == static_cast<size_t>(-1)) {
      if (errno == E2BIG) continue;
      converted.badOffset = bytes.size() - inLeft;
      return converted;
    }
    if (flushing) return converted;
    flushing = true;
  }
}

}  // namespace

std::vector<std::string> Arguments(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

void PrepareStreams() {}

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) == 1; }

size_t TerminalWidth(std::FILE* stream) {
  winsize size{};
  return ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool CanColour(std::FILE* stream) {
  const std::string kind = Variable("TERM");
  return IsTerminal(stream) && !kind.empty() && kind != "dumb";
}

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

bool Write(std::FILE* stream, std::string_view utf8) {
  return std::fwrite(utf8.data(), 1, utf8.size(), stream) == utf8.size() &&
         std::fflush(stream) == 0;
}

void CatchInterrupt() {
  struct sigaction action = {};
  action.sa_handler = [](int /*signal*/) { wasInterrupted = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  ::sigaction(SIGINT, &action, nullptr);
}

bool WasInterrupted() { return wasInterrupted != 0; }

fs::path StateFolder() {
  if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
    return fs::path(state) / "kxo";
  }
  const fs::path home = HomeFolder();
  return home.empty() ? home : home / ".local" / "state" / "kxo";
}

bool MakeWritableFolder(const fs::path& folder) {
  std::error_code error;
  if (fs::create_directories(folder, error)) {
    fs::permissions(folder, fs::perms::owner_all, error);
  }
  return fs::is_directory(folder, error) && ::access(folder.c_str(), W_OK | X_OK) == 0;
}

fs::path MakeTemporaryFolder() {
  std::error_code ignored;
  for (const fs::path& parent : {fs::temp_directory_path(ignored), fs::path("/tmp"),
                                 fs::path("/var/tmp"), fs::path("/dev/shm")}) {
    if (parent.empty()) continue;
    std::string name = (parent / "kxo-XXXXXX").native();
    if (::mkdtemp(name.data()) != nullptr) return name;
  }
  return {};
}

LibraryName::LibraryName(const fs::path& file) {
  if (IsPlainForLibrary(file)) {
    name_ = ToWide(file.native());
    return;
  }
  // A file can be made in a folder behind a link. Behind a link of its own only a save makes it.
  const fs::path last = file.filename();
  const bool onlyFolder = file.has_parent_path() && IsPlainForLibrary(last);
  alias_ = MakeAlias(onlyFolder ? file.parent_path() : file);
  name_ = ToWide((onlyFolder ? alias_.filename() / last : alias_.filename()).native());
}

LibraryName::~LibraryName() {
  std::error_code ignored;
  if (!alias_.empty()) fs::remove(alias_, ignored);
}

std::optional<Converted> ToUtf8(std::string_view bytes, const std::string& encoding) {
  Converter converter(encoding);
  if (!converter.IsOpen()) return std::nullopt;
  return converter.Convert(bytes);
}

}  // namespace kxo::sys
