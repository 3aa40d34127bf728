/// What the tool asks of the operating system beyond the standard library. One implementation for
/// each system, chosen by the build. Names and texts are UTF-8.
#pragma once

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxo::sys {

/// The command line without the program's name.
std::vector<std::string> Arguments(int argc, char** argv);

/// Makes the standard streams carry UTF-8 as it is.
void PrepareStreams();
bool IsTerminal(std::FILE* stream);
/// Columns of a terminal; 0 when it does not say.
size_t TerminalWidth(std::FILE* stream);
/// Has a terminal take escape sequences for colours. False when it does not.
bool CanColour(std::FILE* stream);
/// The value of a variable of the environment; empty when there is none.
std::string Variable(const char* name);
/// All of a text, at once. False, with errno where there is a reason, when the stream refuses it.
bool Write(std::FILE* stream, std::string_view utf8);

/// From now on, the user's Ctrl-C only makes WasInterrupted true. A second one ends the program.
void CatchInterrupt();
bool WasInterrupted();

/// Where this user's programs keep what should outlast them but matters little, with our name
/// behind it; empty when the system names no such place.
std::filesystem::path StateFolder();
/// Makes the folder, for this user alone, where it does not exist. False when nothing can be
/// written there.
bool MakeWritableFolder(const std::filesystem::path& folder);
/// A fresh folder for this user alone; empty when none can be made.
std::filesystem::path MakeTemporaryFolder();

/// A name under which the library reaches a file, which need not exist. The library takes Windows'
/// names: where it would take this one for another's, or refuse it, the name is an alias in the
/// current folder, which goes away with this object. Throws std::filesystem::filesystem_error.
class LibraryName {
 public:
  explicit LibraryName(const std::filesystem::path& file);
  LibraryName(const LibraryName&) = delete;
  LibraryName& operator=(const LibraryName&) = delete;
  ~LibraryName();
  const wchar_t* get() const { return name_.c_str(); }

 private:
  std::wstring name_;
  std::filesystem::path alias_;  // empty when there is none
};

/// UTF-8 of bytes in an encoding that the system knows by name.
struct Converted {
  std::string utf8;                 ///< Of the bytes that could be converted.
  std::optional<size_t> badOffset;  ///< Of the first byte that is not text in this encoding.
};
/// Nothing for an encoding that the system does not know.
std::optional<Converted> ToUtf8(std::string_view bytes, const std::string& encoding);

}  // namespace kxo::sys
