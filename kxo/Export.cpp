#include "Export.h"

#include <utility>

#include "OutputFile.h"
#include "Session.h"

namespace kxo {

ExportTarget::ExportTarget(std::string name, std::filesystem::path path, bool mayReplace)
    : name_(std::move(name)), path_(std::move(path)), mayReplace_(mayReplace) {
  CheckPlace(name_, path_, mayReplace_);
}

Exported ExportTarget::Write(const Format& format, const Contents& contents) const {
  Exported exported = WriteAs(format, contents, {NameOf(path_.stem())});
  for (const PictureFile& picture : exported.pictures) {
    CheckPlace(NameBeside(picture), PlaceBeside(picture), mayReplace_);
  }
  for (const PictureFile& picture : exported.pictures) {
    WriteFile(NameBeside(picture), PlaceBeside(picture), picture.png, mayReplace_);
  }
  WriteFile(name_, path_, exported.bytes, mayReplace_);
  return exported;
}

std::string ExportTarget::NameBeside(const PictureFile& picture) const {
  return NameOf(PathOf(name_).replace_filename(PathOf(picture.name)));
}

std::filesystem::path ExportTarget::PlaceBeside(const PictureFile& picture) const {
  return path_.parent_path() / PathOf(picture.name);
}

}  // namespace kxo
