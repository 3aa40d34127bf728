#include "RunAndTell.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "Failure.h"
#include "KX_FileIO.h"
#include "LibraryErrors.h"
#include "Output.h"
#include "Text.h"

namespace kxo {
namespace {

/// Without memory for it.
void SayThatMemoryRanOut() { std::fputs("kxo: there is not enough memory for this\n", stderr); }

/// Of the library's, that no document answers for: making one takes memory. Null says so, too.
void SayAndRelease(kx_gen::CException* e) {
  const Caught<kx_gen::CException> caught(e);
  if (e == nullptr || e->GetErrNumber() == kx_gen::kMsgOutOfMemory - 1) {
    SayThatMemoryRanOut();
  } else {
    Say(Trimmed(FromWide(e->GetDescription())));
  }
}

int RunAndSay(const std::function<void()>& run) {
  try {
    run();
    return kExitDone;
  } catch (const Failure& e) {
    Say(e.what());
    return e.GetExitCode();
  } catch (const std::bad_alloc&) {
    SayThatMemoryRanOut();
  } catch (kx_gen::CException* e) {
    SayAndRelease(e);
  } catch (const std::exception& e) {
    Say(e.what());
  }
  return kExitSystem;
}

/// JSON being taken down, and folders being opened, take memory where nothing can be thrown. A lack
/// of it ends the program there and then, with the same words and no file begun.
[[noreturn]] void EndForMemory() noexcept {
  // One that was about to be thrown where nothing can be has no name any more.
  bool isMemory = !std::current_exception() && std::uncaught_exceptions() > 0;
  try {
    if (std::current_exception()) throw;
  } catch (const std::bad_alloc&) {
    isMemory = true;
  } catch (...) {
    // A defect, not a shortage.
  }
  if (!isMemory) std::abort();
  SayThatMemoryRanOut();
  std::_Exit(kExitSystem);
}

}  // namespace

int RunAndTell(const std::function<void()>& run) {
  std::set_terminate(EndForMemory);
  try {
    return RunAndSay(run);
  } catch (const std::bad_alloc&) {
    // Telling what failed takes memory, too.
    SayThatMemoryRanOut();
    return kExitSystem;
  }
}

}  // namespace kxo
