#include "GuardedPage.h"

#include <sys/mman.h>
#include <unistd.h>

namespace kx_seam {

GuardedPage::GuardedPage()
    : size_(static_cast<size_t>(::sysconf(_SC_PAGESIZE))),
      start_(static_cast<unsigned char*>(
          ::mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
  ::mprotect(start_ + size_, size_, PROT_NONE);
}

GuardedPage::~GuardedPage() { ::munmap(start_, 2 * size_); }

void GuardedPage::MakeReadOnly() { ::mprotect(start_, size_, PROT_READ); }

}  // namespace kx_seam
