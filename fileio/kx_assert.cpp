#include "kx_assert.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include "Format.h"
#include "KeptTraces.h"
#include "LogGate.h"
#include "Text.h"
#include "WinApi.h"

namespace {

constexpr size_t kTraceMax = 20480;  // UTF-16 units of one line
constexpr int kLineTraceTooLong = 26;
constexpr char kLogName[] = "FileIO.txt";

// Reporting must not change what the reporter is about to look at.
class KeepErrors {
 public:
  KeepErrors() : lastError_(GetLastError()), errno_(errno) {}
  KeepErrors(const KeepErrors&) = delete;
  KeepErrors& operator=(const KeepErrors&) = delete;
  ~KeepErrors() {
    SetLastError(lastError_);
    errno = errno_;
  }

 private:
  DWORD lastError_;
  int errno_;
};

// Each trace leaves its narrow copy behind; hanging on a list, the copies stay reachable.
struct KeptTrace {
  KeptTrace* next;
  char* text() { return reinterpret_cast<char*>(this + 1); }
};
std::atomic<KeptTrace*> keptTraces{nullptr};
std::atomic<size_t> keptCount{0};
std::atomic<size_t> keptBytes{0};

char* keep(const std::string& line) {
  const size_t size = sizeof(KeptTrace) + line.size() + 1;
  auto* kept = static_cast<KeptTrace*>(std::calloc(1, size));
  if (kept == nullptr) return nullptr;
  ++keptCount;
  keptBytes += size;
  std::memcpy(kept->text(), line.data(), line.size());
  kept->next = keptTraces.load();
  while (!keptTraces.compare_exchange_weak(kept->next, kept)) {
  }
  return kept->text();
}

std::mutex logMutex;
bool logStarted = false;  // false until the first line of the process

void writeLog(const char* format, va_list args) {
  const std::lock_guard<std::mutex> lock(logMutex);
  std::FILE* log = std::fopen(kLogName, logStarted ? "a+" : "w+");
  logStarted = true;
  if (log == nullptr) return;
  std::vfprintf(log, format, args);
  std::fputc('\n', log);
  std::fclose(log);
}

void trace(const wchar_t* format, va_list args) {
  std::wstring text = kx_gen::formatWide(format, args);
  if (kx_gen::cutToUnits(text, kTraceMax)) kx_AssertFailedLine(".\\kx_assert", kLineTraceTooLong);
  const char* line = keep(kx_gen::toLogText(text.data(), text.size()));
  if (line != nullptr) WriteLogLine("%s", line);
}

}  // namespace

void KX_Trace(const wchar_t* format, ...) {
  if (!kx_LogIsOn()) return;
  const KeepErrors keepErrors;
  va_list args;
  va_start(args, format);
  try {
    trace(format, args);
  } catch (const std::bad_alloc&) {
    // A line that there is no memory for is dropped, as one that cannot be written is.
  }
  va_end(args);
}

void WriteLogLine(const char* format, ...) {
  if (!kx_LogIsOn()) return;
  const KeepErrors keepErrors;
  va_list args;
  va_start(args, format);
  writeLog(format != nullptr ? format : "", args);
  va_end(args);
}

KeptTraces kx_CountKeptTraces() { return {keptCount, keptBytes}; }

int kx_AssertFailedLine(const char* fileName, int line) {
  const KeepErrors keepErrors;
  KX_Trace(L"Assertion Failed! File %S Line %d quiting application", fileName, line);
  // A quit that is on its way must not get lost; the routine posts none of its own.
  MSG message = {};
  if (PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != 0) {
    PostQuitMessage(static_cast<int>(message.wParam));
  }
  return 0;
}

int kx_PWIsValidAddress(const void* p, unsigned int size, int forWriting) {
  if (p == nullptr || IsBadReadPtr(p, size) != 0) return 0;
  if (forWriting != 0 &&
      IsBadWritePtr(const_cast<void*>(p) /* NOLINT(cppcoreguidelines-pro-type-const-cast) */,
                    size) != 0)
    return 0;
  return 1;
}
