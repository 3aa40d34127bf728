// The second process of the tests of share modes: requests come on its standard input, answers go
// to its standard output, and it ends with the input.
#include "PeerRequest.h"

int main() {
  const HANDLE requests = GetStdHandle(STD_INPUT_HANDLE);
  const HANDLE answers = GetStdHandle(STD_OUTPUT_HANDLE);
  HANDLE file = INVALID_HANDLE_VALUE;
  kx_seam::PeerRequest request;
  DWORD moved = 0;
  while (ReadFile(requests, &request, sizeof(request), &moved, nullptr) != FALSE &&
         moved == sizeof(request)) {
    const DWORD error = kx_seam::carryOut(request, &file);
    if (WriteFile(answers, &error, sizeof(error), &moved, nullptr) == FALSE) break;
  }
  return 0;
}
