#include "FuzzSupport.h"

#include <sanitizer/allocator_interface.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "LogGate.h"

namespace kx_fuzz {

namespace fs = std::filesystem;

namespace {

std::atomic<size_t> inUse{0};
std::atomic<size_t> mostInUse{0};

void onMalloc(const volatile void* /*block*/, size_t size) {
  const size_t now = inUse += size;
  size_t most = mostInUse;
  while (now > most && !mostInUse.compare_exchange_weak(most, now)) {
  }
}

void onFree(const volatile void* block) {
  const volatile void* const asked = block;
  inUse -= __sanitizer_get_allocated_size(const_cast<const void*>(asked));
}

fs::path folder;

Bytes blockOf(kx_gen::CDBRecord& record) {
  const auto* data = static_cast<const unsigned char*>(static_cast<void*>(record.GetRawDataPtr()));
  return {data, data + record.GetRecSize()};
}

Bytes blockOf(kx_gen::CTaggedDataHeader& header) {
  const auto* data =
      static_cast<const unsigned char*>(static_cast<void*>(header.GetHeaderDataPtr()));
  return {data, data + header.getTaggedDataManager().size()};
}

void addRows(kx_gen::CDatabase& db, std::vector<Bytes>& blocks) {
  for (kx_gen::CDBRecord* record : *db.GetRecordset()) blocks.push_back(blockOf(*record));
}

void leaveFolder() {
  fs::current_path("/");
  fs::remove_all(folder);
}

void enterFolder(const fs::path& inMemory) {
  folder = fs::exists(inMemory) ? inMemory : fs::temp_directory_path();
  folder /= "kx_fuzz_" + std::to_string(::getpid());
  fs::create_directories(folder);
  std::atexit(leaveFolder);
}

}  // namespace

void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", promise);
  std::abort();
}

Budget::Budget(size_t inputSize) : mayTake_((size_t{64} << 20) + 16 * inputSize), before_(inUse) {
  mostInUse = before_;
}

Budget::~Budget() {
  // Blocks from before may have been freed meanwhile.
  const size_t most = mostInUse;
  require(most <= before_ || most - before_ <= mayTake_, "memory in proportion to the input");
}

std::wstring scratchFile(const char* name, const uint8_t* data, size_t size) {
  const fs::path path = folder / name;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(static_cast<const char*>(static_cast<const void*>(data)),
            static_cast<std::streamsize>(size));
  return path.wstring();
}

Bytes scratchContents(const char* name) {
  std::ifstream in(folder / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

Handle::Handle(const uint8_t* data, size_t size) : handle_(MemAlloc(std::max<size_t>(size, 1))) {
  if (size > 0) std::memcpy(MemGetPtr(handle_), data, size);
}

Handle::~Handle() { MemFree(handle_); }

void* Handle::release() {
  void* const handle = handle_;
  handle_ = nullptr;
  return handle;
}

Bytes Handle::contents() const {
  if (handle_ == nullptr) return {};
  const auto* data = static_cast<const unsigned char*>(MemGetPtr(handle_));
  return {data, data + MemGetSize(handle_)};
}

std::vector<Bytes> contentsOf(OutlineDb& db) {
  std::vector<Bytes> blocks = {blockOf(*db.GetConduitHeader()), blockOf(*db.GetSharedHeaderPtr()),
                               blockOf(*db.GetPrivateOutlineHeaderPtr())};
  addRows(db, blocks);
  return blocks;
}

std::vector<Bytes> contentsOf(kx_gen::CMemOutlDB& db) {
  std::vector<Bytes> blocks;
  addRows(db, blocks);
  return blocks;
}

std::vector<Bytes> contentsOf(kx_gen::CCategoryDB& db) {
  std::vector<Bytes> blocks = {blockOf(*db.GetConduitHeader())};
  addRows(db, blocks);
  return blocks;
}

}  // namespace kx_fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  kx_fuzz::enterFolder("/dev/shm");
  kx_SetLogOn(false);
  __sanitizer_install_malloc_and_free_hooks(kx_fuzz::onMalloc, kx_fuzz::onFree);
  return 0;
}
