#include "RunAndTell.h"

#include <cstdio>
#include <exception>
#include <new>

#include "Failure.h"
#include "KX_FileIO.h"
#include "Output.h"
#include "Text.h"

namespace kxo {
namespace {

/// Without memory for it.
void SayThatMemoryRanOut() { std::fputs("kxo: there is not enough memory for this\n", stderr); }

/// Of the library's, that no document answers for: making one takes memory. Null says so, too.
void SayAndRelease(kx_gen::CException* e) {
  if (e == nullptr) return SayThatMemoryRanOut();
  if (e->GetErrNumber() == kx_gen::kMsgOutOfMemory - 1) {
    SayThatMemoryRanOut();
  } else {
    Say(Trimmed(FromWide(e->GetDescription())));
  }
  e->Delete();
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

}  // namespace

int RunAndTell(const std::function<void()>& run) {
  try {
    return RunAndSay(run);
  } catch (const std::bad_alloc&) {
    // Telling what failed takes memory, too.
    SayThatMemoryRanOut();
    return kExitSystem;
  }
}

}  // namespace kxo
