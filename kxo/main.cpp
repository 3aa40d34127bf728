#include <exception>
#include <new>

#include "CommandLine.h"
#include "Document.h"
#include "Failure.h"
#include "Output.h"
#include "Session.h"
#include "System.h"

namespace kxo {
namespace {

void Run(int argc, char** argv) {
  sys::PrepareStreams();
  const ChosenCommand command = ReadCommandLine(sys::Arguments(argc, argv));
  if (!command) return;
  const Session session;
  kx_gen::CCategoryDB::setUnfiledCategoryName(kUnfiledName);
  command(session);
}

int RunAndTell(int argc, char** argv) {
  try {
    Run(argc, argv);
    return kExitDone;
  } catch (const Failure& e) {
    Say(e.what());
    return e.GetExitCode();
  } catch (const std::bad_alloc&) {
    Say("there is not enough memory for this");
  } catch (const std::exception& e) {
    Say(e.what());
  }
  return kExitSystem;
}

}  // namespace
}  // namespace kxo

int main(int argc, char** argv) { return kxo::RunAndTell(argc, argv); }
