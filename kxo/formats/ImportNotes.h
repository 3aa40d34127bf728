/// What an import has to tell: what a .kxo document has no place for, and what had to be guessed.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kxo {

class ImportNotes {
 public:
  void CountAttribute(const std::string& name) { ++attributes_[name]; }
  void CountHeadElement(const std::string& name) { ++headElements_[name]; }
  void CountElement(const std::string& name) { ++elements_[name]; }
  void CountMarkup(const std::string& kind) { ++markup_[kind]; }
  void CountText() { ++texts_; }
  /// The file says that the title is empty, which is not to have none.
  void KeepEmptyTitle() { hasEmptyTitle_ = true; }
  bool HasEmptyTitle() const { return hasEmptyTitle_; }
  void Say(const std::string& sentence) { sentences_.push_back(sentence); }

  std::vector<std::string> Lines() const;

 private:
  using Counts = std::map<std::string, size_t>;
  static void AddCounts(std::vector<std::string>& lines, const std::string& what,
                        const Counts& counts);

  std::vector<std::string> sentences_;
  Counts attributes_;
  Counts headElements_;
  Counts elements_;
  Counts markup_;
  size_t texts_ = 0;
  bool hasEmptyTitle_ = false;
};

}  // namespace kxo
