#include "PipedDocument.h"

#include <fstream>

#include "Failure.h"
#include "Output.h"

namespace kxo {

PipedDocument::PipedDocument() {
  if (!WritesToTerminal()) return;
  throw Failure(kExitSystem, "standard output is a terminal; redirect it, or name a file");
}

void PipedDocument::Send() const {
  constexpr size_t kPieceSize = 1u << 16;
  std::ifstream in(GetPath(), std::ios::binary);
  std::string piece(kPieceSize, '\0');
  while (in.read(piece.data(), kPieceSize), in.gcount() > 0) {
    WriteData(piece.substr(0, static_cast<size_t>(in.gcount())));
  }
}

}  // namespace kxo
