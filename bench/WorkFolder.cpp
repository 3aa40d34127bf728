#include "WorkFolder.h"

#include <cstdlib>
#include <random>
#include <string>

namespace kx_bench {

namespace {

std::filesystem::path parentFolder() {
  const char* chosen = std::getenv("KX_BENCH_FOLDER");
  return chosen != nullptr ? std::filesystem::path(chosen) : std::filesystem::temp_directory_path();
}

}  // namespace

WorkFolder::WorkFolder() : before_(std::filesystem::current_path()) {
  std::random_device random;
  do {
    path_ = std::filesystem::absolute(parentFolder() / ("kx_bench-" + std::to_string(random())));
  } while (!std::filesystem::create_directory(path_));
  std::filesystem::current_path(path_);
}

WorkFolder::~WorkFolder() {
  std::error_code ignored;  // what cannot be removed stays behind
  std::filesystem::current_path(before_, ignored);
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace kx_bench
