#include "Rows.h"

#include <algorithm>
#include <random>
#include <vector>

namespace kx_bench {

namespace {

constexpr size_t kTexts = 1000;
constexpr size_t kNoteEvery = 10;
constexpr size_t kNoteSize = 200;

using Random = std::mt19937;  // gives the same numbers everywhere; distributions do not

std::string words(Random& random, size_t size) {
  std::string text;
  while (text.size() < size) {
    const size_t letters = 2 + random() % 8;
    for (size_t i = 0; i < letters; ++i) text.push_back(static_cast<char>('a' + random() % 26));
    text.push_back(' ');
  }
  text.resize(size);
  if (text.back() == ' ') text.back() = '.';
  return text;
}

RowText makeText(Random& random, bool hasNote) {
  RowText row;
  const size_t size = 40 + random() % 11;
  row.narrowText = words(random, size);
  row.narrowOtherText = words(random, size);
  if (hasNote) row.narrowNote = words(random, kNoteSize);
  row.text.assign(row.narrowText.begin(), row.narrowText.end());
  row.otherText.assign(row.narrowOtherText.begin(), row.narrowOtherText.end());
  row.note.assign(row.narrowNote.begin(), row.narrowNote.end());
  return row;
}

std::vector<RowText> makeTexts() {
  Random random(45);
  std::vector<RowText> texts;
  for (size_t i = 0; i < kTexts; ++i) texts.push_back(makeText(random, i % kNoteEvery == 0));
  return texts;
}

}  // namespace

const RowText& rowText(size_t row) {
  static const std::vector<RowText> texts = makeTexts();
  return texts[row % kTexts];
}

uint8_t rowIndent(size_t row) {
  static constexpr uint8_t kIndents[] = {0, 1, 2, 2, 3, 4, 5, 3, 1, 2};
  return kIndents[row % std::size(kIndents)];
}

std::string fileName(const char* engine, size_t rows) {
  return std::string(engine) + "-" + std::to_string(rows) + ".kxo";
}

}  // namespace kx_bench
