// Any bytes as a damaged document: everything wrong is told, and what is left is rebuilt, saved,
// and found sound.

#include "FuzzSupport.h"
#include "SafeSave.h"
#include "salvage/Reader.h"
#include "salvage/Rebuilder.h"
#include "salvage/Report.h"

namespace {

using kxo::salvage::Kind;
using kxo::salvage::Totals;

/// Makes a line of every finding, as the tool does.
class Lines : public kxo::salvage::Reporter {
 public:
  void OnStart(const kxo::salvage::Overview& overview) override { overview_ = overview; }
  void OnFinding(const kxo::salvage::Finding& finding) override {
    const std::string line = kxo::salvage::LineOf(finding, overview_);
    kx_fuzz::require(!line.empty(), "a finding has a text");
  }

 private:
  kxo::salvage::Overview overview_;
};

void rebuild(const kx_fuzz::Bytes& file, Kind kind) {
  kxo::salvage::Rebuilder rebuilder(file, {true}, [](const kxo::salvage::Loss&) {});
  const Totals found = ReadFile(file, kind, rebuilder);
  if (!found.isDocument) return;
  const std::wstring path = kx_fuzz::scratchFile("rebuilt", nullptr, 0);
  kx_gen::SaveDatabaseFile(rebuilder.GetDatabase(), path.c_str());
  const kx_fuzz::Bytes written = kx_fuzz::scratchContents("rebuilt");
  kxo::salvage::Reporter nobody;
  const Totals back = ReadFile(written, kind, nobody);
  kx_fuzz::require(back.errors == 0, "what is rebuilt is sound");
  kx_fuzz::require(back.rows == rebuilder.GetRows().Count(), "and has all its rows");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size);
  const kx_fuzz::Bytes file(data, data + size);
  Lines lines;
  ReadFile(file, std::nullopt, lines);
  rebuild(file, kxo::salvage::GuessKind(file));
  return 0;
}
