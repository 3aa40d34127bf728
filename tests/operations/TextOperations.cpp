// Text and its code pages, paths, times, messages, the log.

#include <cstring>

#include "World.h"

namespace kx_operations {

namespace {

using kx_gen::_String;

/// An empty block of tagged values.
class Block {
 public:
  Block() : tags_(&data_, 0, false, 0, 64) {}
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() { std::free(data_); }
  kx_gen::CTaggedDataManager& tags() { return tags_; }

 private:
  char* data_ = nullptr;
  kx_gen::CTaggedDataManager tags_;
};

constexpr unsigned char kAnyString = 1;

// --- Narrow text ---

void setCodePage(World& /*world*/, Words& words) {
  kx_gen::setNarrowCodePage(words.as<unsigned int>());
}

/// The stored bytes of a text, and what they give back.
void store(World& world, Words& words) {
  Block block;
  const std::wstring text = words.text();
  world.tell(block.tags().setString(kAnyString, text.c_str(), nullptr));
  const unsigned long id = kx_gen::CTaggedDataManager::kStringTagIDCode + kAnyString;
  unsigned long size = 0;
  block.tags().getTagDataSize(id, &size);
  Bytes stored(size);
  block.tags().getData(id, stored.data(), &size, nullptr);
  world.tell(stored.size() <= 64 ? hex(stored) : summary(stored));
  _String back;
  block.tags().getString(kAnyString, back);
  world.tell(back == text.c_str() ? "the same" : shown(back));
}

/// The text that stored bytes give.
void restore(World& world, Words& words) {
  Block block;
  const Bytes stored = words.bytes();
  block.tags().setData(kx_gen::CTaggedDataManager::kStringTagIDCode + kAnyString, stored.data(),
                       static_cast<unsigned long>(stored.size()), nullptr, 0);
  _String text;
  world.tell(block.tags().getString(kAnyString, text));
  world.tell(shown(text));
}

// --- Strings ---

void trim(World& world, Words& words) {
  _String text(words.text().c_str());
  text.TrimLeft();
  text.TrimRight();
  world.tell(shown(text));
}

void lineEnds(World& world, Words& words) {
  _String text(words.text().c_str());
  text.platformToPalm();
  world.tell(shown(text));
  text.palmToPlatform();
  world.tell(shown(text));
}

void fileTitle(World& world, Words& words) {
  _String title(words.text().c_str());
  kx_gen::ValidateFileTitle(title);
  world.tell(shown(title));
}

/// A formatted text; the one argument is there for every directive.
template <class Argument>
void tellFormatted(World& world, const std::wstring& format, Argument value) {
  _String text;
  text.FormatString(format.c_str(), value, value, value, value, value, value, value, value);
  world.tell(shown(text));
}

void formatNumber(World& world, Words& words) {
  const std::wstring format = words.text();
  tellFormatted(world, format, words.as<int>());
}

void formatLong(World& world, Words& words) {
  const std::wstring format = words.text();
  tellFormatted(world, format, words.as<unsigned long>());
}

void formatReal(World& world, Words& words) {
  const std::wstring format = words.text();
  tellFormatted(world, format, words.real());
}

void formatText(World& world, Words& words) {
  const std::wstring format = words.text();
  const std::wstring value = words.text();
  tellFormatted(world, format, value.c_str());
}

// --- The log ---

void trace(World& /*world*/, Words& words) { KX_Trace(L"%s", words.text().c_str()); }

void traceNumber(World& /*world*/, Words& words) {
  const std::wstring format = words.text();
  const auto value = words.as<int>();
  KX_Trace(format.c_str(), value, value);
}

// --- Messages ---

void message(World& world, Words& words) {
  _String text;
  world.tell(text.LoadStringW(words.as<unsigned int>()));
  world.tell(shown(text));
}

/// The cause of a system error. Its text is the system's own: only that there is one is told.
void systemError(World& world, Words& words) {
  const auto error = words.as<long>();
  world.tell(kx_gen::CFileException::OsErrorToException(error));
  wchar_t text[512] = {};
  kx_gen::FormatLastError(static_cast<unsigned long>(error), text, 512);
  const std::wstring found = text;
  world.tell(found.size() > 2 && found.substr(found.size() - 2) == L"\r\n");
}

void throwFileError(World& /*world*/, Words& words) {
  const auto cause = words.as<int>();
  const auto error = words.as<long>();
  kx_gen::_ThrowFileException(cause, error, words.text().c_str());
}

// --- Paths ---

void splitPath(World& world, Words& words) {
  using Piece = wchar_t[kx_gen::format::kMaxPath];
  Piece drive;
  Piece folder;
  Piece title;
  Piece extension;
  kx_gen::_tsplitpath(words.text().c_str(), drive, folder, title, extension);
  for (const wchar_t* piece : {drive, folder, title, extension}) world.tell(shown(piece));
}

void joinPath(World& world, Words& words) {
  const std::wstring folder = words.text();
  const std::wstring title = words.text();
  const std::wstring extension = words.text();
  world.tell(
      shown(kx_gen::CFile::CreateFilePath(folder.c_str(), title.c_str(), extension.c_str())));
}

void rootOf(World& world, Words& words) {
  wchar_t root[kx_gen::format::kMaxPath] = {};
  kx_gen::GetRoot(words.text().c_str(), root);
  world.tell(shown(root));
}

void isValidPath(World& world, Words& words) {
  world.tell(kx_gen::ValidateFilePath(words.text().c_str()));
}

void numberedName(World& world, Words& words) {
  world.tell(shown(kx_gen::GetNextValidNumberedName(words.text().c_str(), nullptr)));
}

void freeName(World& world, Words& words) {
  const std::wstring path = words.text();
  world.tell(shown(kx_gen::GetValidFileName(path.c_str(), nullptr, words.text().c_str())));
}

// --- Times ---

std::string shownTime(const std::tm& time) {
  char text[64];
  std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S day %j", &time);
  return text;
}

void gmtTime(World& world, Words& words) {
  std::tm time = {};
  const bool filled = kx_gen::CTime(words.as<unsigned long>()).GetGmtTm(&time) != nullptr;
  world.tell(filled ? shownTime(time) : "none");
}

/// Whether a time comes back from its local fields, wherever this is.
void localTime(World& world, Words& words) {
  const kx_gen::CTime time(words.as<unsigned long>());
  std::tm local = {};
  if (time.GetLocalTm(&local) == nullptr) {
    world.tell("none");
    return;
  }
  const kx_gen::CTime back(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                           local.tm_min, local.tm_sec, local.tm_isdst);
  world.tell(back == time);
  SYSTEMTIME fields = {};
  world.tell(time.GetAsSystemTime(fields) && fields.wYear == time.GetYear() &&
             fields.wMonth == time.GetMonth() && fields.wDay == time.GetDay());
}

void fileTime(World& world, Words& words) {
  FILETIME time = {};
  time.dwHighDateTime = words.as<DWORD>();
  time.dwLowDateTime = words.as<DWORD>();
  world.tell(kx_gen::CTime(time, -1).GetTime());
}

}  // namespace

Operations textOperations() {
  return {
      {"code-page", setCodePage},
      {"store", store},
      {"restore", restore},
      {"trim", trim},
      {"line-ends", lineEnds},
      {"file-title", fileTitle},
      {"format-number", formatNumber},
      {"format-long", formatLong},
      {"format-real", formatReal},
      {"format-text", formatText},
      {"trace", trace},
      {"trace-number", traceNumber},
      {"message", message},
      {"system-error", systemError},
      {"throw-file-error", throwFileError},
      {"split-path", splitPath},
      {"join-path", joinPath},
      {"root-of", rootOf},
      {"is-valid-path", isValidPath},
      {"numbered-name", numberedName},
      {"free-name", freeName},
      {"gmt-time", gmtTime},
      {"local-time", localTime},
      {"file-time", fileTime},
  };
}

}  // namespace kx_operations
