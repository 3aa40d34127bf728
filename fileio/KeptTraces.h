// The narrow copies that traces leave behind for good: what a process grows by with every line.
#pragma once

#include <cstddef>

struct KeptTraces {
  size_t count;
  size_t bytes;
};

KeptTraces kx_CountKeptTraces();
