#include "ToolCommand.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

#include "Failure.h"
#include "KxLayout.h"
#include "RunAndTell.h"

namespace kx_failing {

namespace fs = std::filesystem;

using kx_test::Bytes;

namespace {

constexpr const char* kState = "state";
constexpr const char* kTemporary = "temporary";
constexpr const char* kPrinted = "state/printed";
constexpr const char* kTold = "state/told";

bool IsLeftOver(const std::string& name) {
  return fs::path(name).filename().string().rfind(".kx-save-", 0) == 0;
}

bool IsOfOurs(const fs::path& path) {
  const std::string first = path.begin()->string();
  return first == kState || first == kTemporary;
}

/// Categories know when they were changed, which is another time in each run.
Bytes WithoutTimes(Bytes file) {
  const Bytes tag = kx_test::tag(kx_gen::format::kTagLastChangedTime, kx_test::zeros(4));
  const auto head = tag.begin() + kx_gen::format::kTagIdOffset;
  const auto value = tag.begin() + kx_gen::format::kTagSize;
  for (auto at = file.begin(); (at = std::search(at, file.end(), head, value)) != file.end();) {
    at += value - head;
    std::fill_n(at, std::min<ptrdiff_t>(tag.end() - value, file.end() - at), 0);
  }
  return file;
}

/// All below the current folder, but for what a session keeps.
std::vector<fs::path> PathsHere() {
  std::vector<fs::path> paths;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(".")) {
    const fs::path path = entry.path().lexically_relative(".");
    if (!IsOfOurs(path)) paths.push_back(path);
  }
  return paths;
}

Files FilesHere() {
  Files files;
  for (const fs::path& path : PathsHere()) {
    if (!fs::is_regular_file(path)) continue;
    const Bytes bytes = bytesAt(path.string());
    files[path.generic_string()] = path.extension() == ".kxc" ? WithoutTimes(bytes) : bytes;
  }
  return files;
}

/// Folders that have become empty go, too; what a save left behind stays for the next one.
void RemoveAllBut(const Files& files) {
  std::vector<fs::path> paths = PathsHere();
  std::reverse(paths.begin(), paths.end());
  for (const fs::path& path : paths) {
    const std::string name = path.generic_string();
    const bool stays =
        fs::is_directory(path) ? !fs::is_empty(path) : files.contains(name) || IsLeftOver(name);
    if (!stays) fs::remove(path);
  }
}

std::string textAt(const char* name) {
  const Bytes bytes = bytesAt(name);
  return {bytes.begin(), bytes.end()};
}

const Bytes* Find(const Files& files, const std::string& name) {
  const auto found = files.find(name);
  return found == files.end() ? nullptr : &found->second;
}

bool IsSame(const Bytes* a, const Bytes* b) {
  return a == nullptr || b == nullptr ? a == b : *a == *b;
}

}  // namespace

ToolCommand::ToolCommand(ToolTask task)
    : home_(fs::current_path()),
      environment_(home_ / kState, home_ / kTemporary),
      task_(std::move(task)) {
  fs::create_directory(kTemporary);
  fs::create_directory(kState);
  task_.add(app_, command_);
  app_.parse(std::vector<std::string>(task_.words.rbegin(), task_.words.rend()));
  Prepare();
  before_ = FilesHere();
  const std::string answer = Run();
  LeaveSession();
  EXPECT_EQ(answer, "") << exitCode_ << ": " << told_;
  made_ = FilesHere();
  data_ = printed_;
  toldWhenDone_ = told_;
}

void ToolCommand::Prepare() {
  RemoveAllBut(task_.files);
  for (const auto& [name, bytes] : task_.files) {
    fs::create_directories(fs::absolute(name).parent_path());
    if (!fs::exists(name) || bytesAt(name) != bytes) putBytes(name, bytes);
  }
  output_.emplace(stdout, kPrinted);
  errors_.emplace(stderr, kTold);
}

std::string ToolCommand::Run() {
  exitCode_ = kxo::RunAndTell([this] {
    const kxo::Session session;
    command_(session);
  });
  return exitCode_ == task_.exitCode ? "" : "it failed";
}

void ToolCommand::LeaveSession() {
  fs::current_path(home_);
  output_.reset();
  errors_.reset();
  printed_ = textAt(kPrinted);
  told_ = textAt(kTold);
}

bool ToolCommand::IsDocumented(const Ending& ending, Cause /*cause*/, long /*errorNumber*/) const {
  return ending.isDone || !ending.answer.empty();
}

void ToolCommand::CheckFiles(const Ending& ending, Cause cause, bool goesOn) {
  LeaveSession();
  // When memory runs out for telling that it is written, it is written.
  const bool mayBeNew = task_.mayEndHalfway || task_.isOfMany || cause == Cause::kAllocation;
  // Another file than ever may have failed.
  const bool isDone =
      ending.isDone && (exitCode_ != kxo::kExitSomeFailed || told_ == toldWhenDone_);
  CheckDocuments(isDone, mayBeNew, goesOn);
  CheckFoldersOfItsOwn();
  CheckData(isDone, cause);
  if (!isDone) CheckTold(cause);
}

/// Where memory runs out for taking down what is in it, the program ends there and then.
void ToolCommand::CheckEnd(int exitCode, bool goesOn) {
  EXPECT_EQ(exitCode, kxo::kExitSystem);
  told_ = textAt(kTold);
  EXPECT_TRUE(told_.ends_with("kxo: there is not enough memory for this\n")) << told_;
  CheckDocuments(false, true, goesOn);
  CheckFoldersOfItsOwn();
}

/// Each is whole, the old or the new one.
void ToolCommand::CheckDocuments(bool isDone, bool mayBeNew, bool goesOn) const {
  Files names = made_;
  const Files now = FilesHere();
  names.insert(before_.begin(), before_.end());
  names.insert(now.begin(), now.end());
  size_t leftOver = 0;
  bool isBegun = false;
  for (const auto& [name, unused] : names) {
    const Bytes* const bytes = Find(now, name);
    const bool isOld = IsSame(bytes, Find(before_, name));
    const bool isNew = IsSame(bytes, Find(made_, name));
    if (!isOld) isBegun = true;
    if (IsLeftOver(name)) {
      ++leftOver;
    } else if (isDone) {
      EXPECT_TRUE(isNew) << name;
    } else {
      EXPECT_TRUE(isOld || (isNew && mayBeNew)) << name << told_;
    }
  }
  EXPECT_LE(leftOver, goesOn ? 1u : 0u);
  const std::string& first = task_.writtenFirst;
  EXPECT_TRUE(!isBegun || first.empty() || leftOver > 0 ||
              IsSame(Find(now, first), Find(made_, first)));
}

void ToolCommand::CheckFoldersOfItsOwn() const {
  EXPECT_TRUE(fs::is_empty(kTemporary));
  const fs::path state = fs::path(kState) / "kxo";
  if (!fs::exists(state)) return;
  for (const std::string& name : namesIn(state.string())) EXPECT_EQ(name, "FileIO.txt");
}

/// Data is what it is when nothing fails, or of one file its beginning; JSON about many is whole.
void ToolCommand::CheckData(bool isDone, Cause cause) const {
  if (isDone) {
    EXPECT_EQ(printed_, data_);
  } else if (!task_.isOfMany) {
    EXPECT_EQ(data_.rfind(printed_, 0), 0u) << printed_;
  } else if (cause == Cause::kFileCall && data_.rfind('{', 0) == 0) {
    EXPECT_TRUE(nlohmann::json::accept(printed_)) << printed_;
  }
}

/// One line that says what is wrong, or one for each of several files.
void ToolCommand::CheckTold(Cause cause) const {
  std::istringstream lines(told_);
  std::string line;
  size_t count = 0;
  for (; std::getline(lines, line); ++count) {
    EXPECT_TRUE(line.starts_with("kxo: ") || task_.othersTalk) << told_;
  }
  EXPECT_NE(told_.find("kxo: "), std::string::npos) << told_;
  EXPECT_TRUE(task_.isOfMany ? count > 0 : count == 1) << told_;
  EXPECT_EQ(told_.back(), '\n');
  EXPECT_TRUE(IsDocumentedCode(cause)) << exitCode_ << ": " << told_;
  const bool isOfMemory = told_.find("memory") != std::string::npos;
  EXPECT_TRUE(!isOfMemory || cause == Cause::kAllocation) << told_;
}

bool ToolCommand::IsDocumentedCode(Cause cause) const {
  switch (exitCode_) {
    case kxo::kExitSystem:
      return true;
    case kxo::kExitDamaged:
      // A row that lacks a field for want of memory is refused as one that a document cannot hold.
      // What the system does not let be read is told as damage of the file, at its place.
      return cause == Cause::kAllocation || told_.find(": damaged at ") != std::string::npos;
    case kxo::kExitLocked:
      // Where the system does not tell whether others have the file open, they may.
      return cause == Cause::kFileCall;
    case kxo::kExitSomeFailed:
      return task_.isOfMany;
    default:
      return false;
  }
}

}  // namespace kx_failing
