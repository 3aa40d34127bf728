// The calls are led here through this program's import table, in which the linker put the addresses
// of the system's functions: its entries are replaced while the program starts.
#include "FailingCalls.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "Heap.h"
#include "WinApi.h"

namespace kx_seam {
namespace {

constexpr size_t kMostHandles = 256;

bool isFailing = false;
bool failsOn = false;
long left = 0;
DWORD error = 0;
std::array<HANDLE, kMostHandles> openHandles{};

/// False, with the last error, for a call that is to fail.
bool isLet() {
  if (!isFailing) return true;
  --left;
  const bool fails = failsOn ? left <= 0 : left == 0;
  if (fails) SetLastError(error);
  return !fails;
}

void replaceEntry(HANDLE from, HANDLE to) {
  for (HANDLE& entry : openHandles) {
    if (entry != from) continue;
    entry = to;
    return;
  }
}

HANDLE noteOpened(HANDLE handle) {
  if (handle != INVALID_HANDLE_VALUE) replaceEntry(nullptr, handle);
  return handle;
}

void noteClosed(HANDLE handle) { replaceEntry(handle, nullptr); }

/// What a function answers when it fails.
template <class Result>
Result failure() {
  if constexpr (std::is_same_v<Result, HANDLE>) {
    return INVALID_HANDLE_VALUE;
  } else if constexpr (std::is_same_v<Result, DWORD>) {
    return 0xFFFFFFFF;
  } else {
    return FALSE;
  }
}

/// Stands in for a function of the system, whose address `real` keeps.
template <class Function, int Id>
struct StandIn;
template <class Result, class... Arguments, int Id>
struct StandIn<Result(WINAPI*)(Arguments...), Id> {
  inline static Result(WINAPI* real)(Arguments...) = nullptr;
  static Result WINAPI call(Arguments... arguments) {
    return isLet() ? real(arguments...) : failure<Result>();
  }
  static Result WINAPI open(Arguments... arguments) {
    return isLet() ? noteOpened(real(arguments...)) : failure<Result>();
  }
  /// The handle is gone even when that is reported to have failed.
  static Result WINAPI close(Arguments... arguments) {
    const bool isGood = isLet();
    const DWORD refusal = GetLastError();
    (noteClosed(arguments), ...);
    const Result result = real(arguments...);
    if (isGood) return result;
    SetLastError(refusal);
    return FALSE;
  }
  static Result WINAPI allocate(Arguments... arguments) {
    if (mayAllocate()) return real(arguments...);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
};

struct Import {
  const char* name;
  void* standIn;
  void** real;
};

template <class Code>
void* addressOf(Code* code) {
  return reinterpret_cast<void*>(code);
}

#define KX_IMPORT(function, how, id)                                         \
  Import {                                                                   \
#function, addressOf(StandIn <decltype(&function), id>::how),            \
        reinterpret_cast < void**>(&StandIn <decltype(&function), id>::real) \
  }

const Import kImports[] = {
    KX_IMPORT(CreateFileW, open, 1),         KX_IMPORT(ReadFile, call, 2),
    KX_IMPORT(WriteFile, call, 3),           KX_IMPORT(SetFilePointer, call, 4),
    KX_IMPORT(SetEndOfFile, call, 5),        KX_IMPORT(FlushFileBuffers, call, 6),
    KX_IMPORT(CloseHandle, close, 7),        KX_IMPORT(GetFileTime, call, 8),
    KX_IMPORT(GetFileSize, call, 9),         KX_IMPORT(GetFileInformationByHandle, call, 10),
    KX_IMPORT(GetFileAttributesW, call, 11), KX_IMPORT(SetFileAttributesW, call, 12),
    KX_IMPORT(MoveFileW, call, 13),          KX_IMPORT(MoveFileExW, call, 14),
    KX_IMPORT(ReplaceFileW, call, 15),       KX_IMPORT(DeleteFileW, call, 16),
    KX_IMPORT(CopyFileW, call, 17),          KX_IMPORT(FindFirstFileW, open, 18),
    KX_IMPORT(FindNextFileW, call, 19),      KX_IMPORT(FindClose, close, 20),
    KX_IMPORT(LocalAlloc, allocate, 21),     KX_IMPORT(LocalReAlloc, allocate, 22),
};
#undef KX_IMPORT

template <class Type>
Type* at(uintptr_t base, DWORD offset) {
  return reinterpret_cast<Type*>(base + offset);
}

void put(void** slot, const Import& import) {
  *import.real = *slot;
  DWORD before = 0;
  VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &before);
  *slot = import.standIn;
  VirtualProtect(slot, sizeof(*slot), before, &before);
}

void leadHere(const char* name, void** slot) {
  for (const Import& import : kImports) {
    if (std::strcmp(import.name, name) == 0) put(slot, import);
  }
}

/// Walks the names that one library's functions are imported under, and the addresses beside them.
void leadHere(uintptr_t base, const IMAGE_IMPORT_DESCRIPTOR& library) {
  const auto* name = at<IMAGE_THUNK_DATA>(base, library.OriginalFirstThunk);
  auto* address = at<IMAGE_THUNK_DATA>(base, library.FirstThunk);
  for (; name->u1.AddressOfData != 0; ++name, ++address) {
    if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
    const auto* text =
        at<IMAGE_IMPORT_BY_NAME>(base, static_cast<DWORD>(name->u1.AddressOfData))->Name;
    leadHere(reinterpret_cast<const char*>(text), reinterpret_cast<void**>(&address->u1.Function));
  }
}

bool leadCallsHere() {
  const auto base = reinterpret_cast<uintptr_t>(GetModuleHandleW(nullptr));
  const auto* dos = at<IMAGE_DOS_HEADER>(base, 0);
  const auto* headers = at<IMAGE_NT_HEADERS>(base, static_cast<DWORD>(dos->e_lfanew));
  const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(base, directory.VirtualAddress);
  for (; library->Name != 0; ++library) leadHere(base, *library);
  return true;
}

const bool areLed = leadCallsHere();

}  // namespace

long errorNumberOf(Refusal refusal) {
  constexpr long kNumbers[] = {ERROR_DISK_FULL, ERROR_CRC, ERROR_ACCESS_DENIED};
  return kNumbers[static_cast<int>(refusal)];
}

FailingFileCall::FailingFileCall(long nth, bool goesOn, Refusal refusal) {
  left = nth;
  failsOn = goesOn;
  error = static_cast<DWORD>(errorNumberOf(refusal));
  isFailing = areLed;
}

FailingFileCall::~FailingFileCall() { isFailing = false; }

bool FailingFileCall::HasFailed() { return left <= 0; }

size_t countOpenHandles() {
  size_t count = 0;
  for (const HANDLE handle : openHandles) {
    if (handle != nullptr) ++count;
  }
  return count;
}

std::filesystem::path fastFolder(const std::filesystem::path& fallback) { return fallback; }

}  // namespace kx_seam
