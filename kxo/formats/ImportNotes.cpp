#include "formats/ImportNotes.h"

#include "Text.h"

namespace kxo {

std::vector<std::string> ImportNotes::Lines() const {
  std::vector<std::string> lines = sentences_;
  AddCounts(lines, "attributes", attributes_);
  AddCounts(lines, "head elements", headElements_);
  AddCounts(lines, "elements", elements_);
  AddCounts(lines, "markup", markup_);
  if (texts_ > 0) lines.push_back("not carried: " + Counted(texts_, "text") + " between elements");
  return lines;
}

void ImportNotes::AddCounts(std::vector<std::string>& lines, const std::string& what,
                            const Counts& counts) {
  std::string list;
  for (const auto& [name, count] : counts) {
    list += (list.empty() ? " " : ", ") + name + " (" + std::to_string(count) + ")";
  }
  if (!list.empty()) lines.push_back("not carried: " + what + list);
}

}  // namespace kxo
