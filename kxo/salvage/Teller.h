/// Hands what was found to the reporter, and counts it.
#pragma once

#include "salvage/Reader.h"

namespace kxo::salvage {

class Teller {
 public:
  explicit Teller(Reporter& reporter) : reporter_(reporter) {}

  void Tell(const Finding& finding) {
    ++(finding.error ? totals_.errors : totals_.warnings);
    reporter_.OnFinding(finding);
  }
  /// Tells what is wrong with blocks.
  Sink GetSink() {
    return [this](const Finding& finding) { Tell(finding); };
  }
  Reporter& GetReporter() { return reporter_; }
  Totals& GetTotals() { return totals_; }

 private:
  Reporter& reporter_;
  Totals totals_;
};

}  // namespace kxo::salvage
