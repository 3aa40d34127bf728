#include "InputDocument.h"

#include <fstream>
#include <vector>

#include "Failure.h"

namespace kxo {

InputPlace::InputPlace(const Session& session, const std::string& name) : name_(InputName(name)) {
  if (name == kStandardStream) {
    CopyStandardInput(session);
  } else {
    path_ = session.ExistingFile(name);
  }
}

void InputPlace::CopyStandardInput(const Session& session) {
  const std::vector<unsigned char> bytes = ReadInput(session, kStandardStream);
  folder_ = std::make_unique<TemporaryFolder>();
  path_ = folder_->GetPath() / "document";
  std::ofstream out(path_, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) {
    throw FileFailure(kExitSystem, NameOf(folder_->GetPath()), "standard input cannot be kept here",
                      "make room, or set TMPDIR to a folder that has it");
  }
}

}  // namespace kxo
