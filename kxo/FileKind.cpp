#include "FileKind.h"

#include <vector>

#include "Failure.h"
#include "InputFile.h"
#include "KxFormat.h"
#include "formats/JsonSchema.h"
#include "salvage/Bytes.h"
#include "salvage/Reader.h"

namespace kxo {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using salvage::Kind;

namespace {

/// With all of a header table that anything of ours has.
constexpr size_t kFrontSize = 4096;

struct Look {
  Kind kind = Kind::kOutline;
  bool opens = false;  ///< Its information block is that of the kind.
};

bool HasInfoOf(Kind kind, salvage::Bytes front) {
  return front.size() >= format::kDbInfoSize &&
         salvage::Number(front, format::kCheckCodeOffset) == format::kCheckCode &&
         IsVersionOf(kind, salvage::ShortNumber(front, format::kVersionOffset));
}

Look LookAt(const std::string& name, const fs::path& file) {
  if (!fs::is_regular_file(file)) {
    throw FileFailure(kExitSystem, name, "this is not a regular file", "name a .kxo document");
  }
  const std::vector<unsigned char> front = ReadFileBytes(name, file, kFrontSize);
  std::optional<Kind> kind = salvage::KindByFront(front);
  if (!kind) kind = salvage::GuessKind(ReadFileBytes(name, file));
  return {*kind, HasInfoOf(*kind, front)};
}

/// What stands for the file on a command line.
std::string Argument(const std::string& name) {
  return name == InputName(kStandardStream) ? kStandardStream : name;
}

std::string AdviceFor(const std::string& name, Kind kind, Kind wanted) {
  const std::string file = Argument(name);
  switch (kind) {
    case Kind::kCategory:
      return "kxo category list " + file + " tells what is in it, kxo export " + file +
             " --to json all of it";
    case Kind::kMemory:
      if (wanted == Kind::kOutline) {
        return "kxo export " + file + " --to json writes all of it, and kxo import what was edited";
      }
      return "kxo show " + file + " prints it";
    default:
      return "kxo show " + file + " prints it";
  }
}

}  // namespace

Kind KindOfFile(const std::string& name, const fs::path& file) { return LookAt(name, file).kind; }

std::string KeyOf(Kind kind) { return json::NameOf(kind); }

std::string WordsFor(Kind kind) {
  if (kind == Kind::kOutline) return "an outline document";
  return "a " + salvage::NameOf(kind);
}

std::optional<Kind> OtherKind(const std::string& name, const fs::path& file, Kind wanted) {
  const Look look = LookAt(name, file);
  if (look.kind == wanted || !look.opens) return std::nullopt;
  return look.kind;
}

void CheckKind(const std::string& name, const fs::path& file, Kind wanted) {
  const std::optional<Kind> other = OtherKind(name, file, wanted);
  if (other) FailForKind(name, *other, wanted);
}

void FailForKind(const std::string& name, Kind kind, Kind wanted) {
  throw FileFailure(kExitSystem, name, "this is " + WordsFor(kind) + ", not " + WordsFor(wanted),
                    AdviceFor(name, kind, wanted));
}

}  // namespace kxo
