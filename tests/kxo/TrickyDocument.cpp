#include "TrickyDocument.h"

#include <algorithm>
#include <array>

namespace kxo_test {

const std::vector<std::wstring>& TrickyTexts() {
  static const std::vector<std::wstring> texts = {
      L"",
      L" ",
      L" leading and trailing ",
      L"    four blanks",
      L"\ta tab\tand another\t",
      L"one\ntwo",
      L"one\r\ntwo",
      L"one\rtwo",
      L"\n",
      L"\r\n\r\n",
      L"\n\nthree\n\n\nfour\n",
      L"a \n b",
      L"[x] checked?",
      L"[ ] not?",
      L": a note?",
      L":",
      L"| more?",
      L"\\",
      L"\\\\",
      L"\\ blank",
      L"\\[x] x",
      L"C:\\new\\table",
      L"\\*",
      L"*emphasis* **strong** _under_ snake_case ~~gone~~ `code` ``",
      L"2 * 3 * 4",
      L"* bullet",
      L"- bullet",
      L"+ bullet",
      L"1. first",
      L"12) twelfth",
      L"# heading #",
      L"===",
      L"---",
      L"a\n===",
      L"a\n---",
      L"> quote",
      L"```",
      L"~~~",
      L"| a | b |\n|---|---|\n| 1 | 2 |",
      L"[link](address) ![picture](address) [ref]: /address [^1]",
      L"<b>bold</b> <!-- comment --> </b> <?pi?> <http://x.y> <a@b.c>",
      L"<!-- -->",
      L"<1@b.c> <./a@b.c> <=@b> << a <= b <- c @ d <>",
      L"a < b > c & d &amp; &lt; &#65; &#x41; &copy; \"quoted\" 'so'",
      L"]]> <![CDATA[",
      L"</script></summary></details>",
      L"http://example.org/?a=1&b=2 www.example.org a@b.example",
      L"caf\u00E9 \u00A0 \u65E5\u672C\u8A9E",
      L"\u05E9\u05DC\u05D5\u05DD \u0645\u0631\u062D\u0628\u0627",
      L"\u200F\u05E2\u05D1 \u202Eturned\u202C",
      L"\U0001F600 \U0001F469\u200D\U0001F680",
      L"\uFEFFmark \u2028 \u2029 \u0085",
      L"Punctuation: !\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~",
  };
  return texts;
}

void FillTricky(kx_gen::COutlineDB& db, bool maySkip) {
  constexpr std::array<unsigned char, 7> kLevels = {1, 0, 2, 5, 3, 1, 2};
  const std::vector<std::wstring>& texts = TrickyTexts();
  db.SetOutlineTitle(L"Tricky *texts* & # others #");
  unsigned char level = 0;
  for (size_t i = 0; i < texts.size(); ++i) {
    const unsigned char wanted = kLevels[i % kLevels.size()];
    const unsigned char most = i == 0 ? 0 : level + 1;
    level = maySkip ? wanted : std::min(wanted, most);
    kx_gen::COutlineRecord& row = ToolTest::AddRow(db, level, texts[i].c_str());
    row.SetNote(texts[texts.size() - 1 - i].c_str());
    row.SetChecked(i % 3 == 1);
  }
}

}  // namespace kxo_test
