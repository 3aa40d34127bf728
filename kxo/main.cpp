#include "CommandLine.h"
#include "Document.h"
#include "RunAndTell.h"
#include "Session.h"
#include "System.h"
#include "Text.h"

namespace kxo {
namespace {

void Run(int argc, char** argv) {
  sys::PrepareStreams();
  const ChosenCommand command = ReadCommandLine(sys::Arguments(argc, argv));
  if (!command) return;
  const Session session;
  kx_gen::CCategoryDB::setUnfiledCategoryName(ToWide(kUnfiledName).c_str());
  command(session);
}

}  // namespace
}  // namespace kxo

int main(int argc, char** argv) {
  return kxo::RunAndTell([&] { kxo::Run(argc, argv); });
}
