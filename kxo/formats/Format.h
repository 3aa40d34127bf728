/// The formats that outlines are exported to and imported from, one source file for each.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Contents.h"
#include "Outline.h"
#include "formats/ImportNotes.h"

namespace kxo {

/// A picture that stands beside an exported file, which names it.
struct PictureFile {
  std::string name;  ///< Of a file in the same folder.
  std::string png;
};

/// What an outline becomes.
struct Exported {
  std::string bytes;
  std::vector<PictureFile> pictures;
  std::vector<std::string> told;  ///< What the user is to know, a sentence each.
};

/// Where an export goes.
struct ExportPlace {
  std::string stem;  ///< What names of pictures begin with; empty where none can stand beside it.
};

/// What is imported.
struct ImportSource {
  std::string name;  ///< As messages call it.
  std::string bytes;
  /// The bytes of a picture that stands beside it; empty when there is none, or none may be read.
  std::function<std::string(const std::string& pictureName)> picture;
};

struct Format {
  std::string_view name;
  std::vector<std::string_view> extensions;  ///< In lower case; the first is the one to give.
  /// Null, as the next, in a format that carries everything.
  Exported (*write)(const Outline& outline, const ExportPlace& place);
  /// Null where there is no way back. Throws a Failure that names the file and the place.
  Outline (*read)(const ImportSource& source, ImportNotes& notes);
  /// Of files of any kind, with all that they hold. Null in formats for outlines.
  std::string (*writeAll)(const Contents& contents) = nullptr;
  Contents (*readAll)(const std::string& name, const std::string& bytes) = nullptr;

  bool canWrite() const { return write != nullptr || writeAll != nullptr; }
  bool canRead() const { return read != nullptr || readAll != nullptr; }
};

const std::vector<Format>& Formats();
/// Reads from a file what the format can carry: an outline, or all that a file of any kind holds.
Contents ReadFor(const Format& format, const std::string& name, const std::filesystem::path& file);
/// Both of these in the format, which is one that can be written.
Exported WriteAs(const Format& format, const Contents& contents, const ExportPlace& place);
/// Null when there is none.
const Format* FormatNamed(std::string_view name);
/// By a file's extension; null when that belongs to none.
const Format* FormatOfFile(const std::filesystem::path& file);

/// The names of formats that can be written, and of those that can be read.
std::vector<std::string> NamesOfWriters();
std::vector<std::string> NamesOfReaders();

}  // namespace kxo
