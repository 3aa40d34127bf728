#include "salvage/Finding.h"

#include <array>

namespace kxo::salvage {
namespace {

/// In the order of the codes.
constexpr std::array kNames = {
    "too-short",   "check-code",  "version",        "table-cut",    "table-repeat", "table-astray",
    "slot-small",  "slot-cut",    "slot-length",    "slot-fill",    "extra-cut",    "id-count",
    "tag-code",    "tag-overrun", "tag-order",      "field-absent", "field-long",   "text-end",
    "text-null",   "drawing",     "drawing-pixels", "category-id",  "row-start",    "row-length",
    "row-end",     "row-cut",     "row-part",       "row-astray",   "gap",          "rows-missing",
    "behind-rows", "leftover",
};
static_assert(kNames.size() == static_cast<size_t>(Code::kLeftover) + 1, "a name for each code");

}  // namespace

const char* NameOf(Code code) { return kNames[static_cast<size_t>(code)]; }

}  // namespace kxo::salvage
