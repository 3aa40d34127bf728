#include "CodePage.h"

#include "KX_FileIO.h"

namespace kxo {
namespace {

unsigned int& Chosen() {
  static unsigned int codePage = 0;
  return codePage;
}

}  // namespace

bool ChooseCodePage(unsigned int codePage) {
  if (!kx_gen::setNarrowCodePage(codePage)) return false;
  Chosen() = codePage;
  return true;
}

unsigned int ChosenCodePage() { return Chosen(); }

}  // namespace kxo
