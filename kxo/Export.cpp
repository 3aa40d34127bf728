#include "Export.h"

#include <utility>

#include "OutputFile.h"
#include "Session.h"

namespace kxo {

ExportTarget::ExportTarget(std::string name, std::filesystem::path path, bool mayReplace)
    : name_(std::move(name)), path_(std::move(path)), mayReplace_(mayReplace) {
  CheckPlace(name_, path_, mayReplace_);
}

Exported ExportTarget::Write(const Format& format, const Outline& outline) const {
  Exported exported = format.write(outline, {NameOf(path_.stem())});
  for (const PictureFile& picture : exported.pictures) {
    const std::filesystem::path name = PathOf(picture.name);
    WriteFile(NameOf(PathOf(name_).replace_filename(name)), path_.parent_path() / name, picture.png,
              mayReplace_);
  }
  WriteFile(name_, path_, exported.bytes, mayReplace_);
  return exported;
}

}  // namespace kxo
