#include "GuardedPage.h"

#include <windows.h>

namespace kx_seam {
namespace {

size_t pageSize() {
  SYSTEM_INFO info = {};
  GetSystemInfo(&info);
  return info.dwPageSize;
}

}  // namespace

GuardedPage::GuardedPage()
    : size_(pageSize()),
      start_(static_cast<unsigned char*>(
          VirtualAlloc(nullptr, 2 * size_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))) {
  DWORD before = 0;
  VirtualProtect(start_ + size_, size_, PAGE_NOACCESS, &before);
}

GuardedPage::~GuardedPage() { VirtualFree(start_, 0, MEM_RELEASE); }

void GuardedPage::MakeReadOnly() {
  DWORD before = 0;
  VirtualProtect(start_, size_, PAGE_READONLY, &before);
}

}  // namespace kx_seam
