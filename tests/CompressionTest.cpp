// The coder of drawings: its bytes, what it makes of any input, and a plain coder beside it.

#include "Compression.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

#include "Pictures.h"
#include "PlainCoder.h"

namespace {

using kx_gen::CCompression;
using kx_test::Bytes;
using kx_test::golden;
using kx_test::join;
using kx_test::Noise;
using kx_test::plainCompress;
using kx_test::plainDecompress;

Bytes compressed(CCompression& coder, Bytes source) {
  unsigned char* out = nullptr;
  unsigned long size = 12345;
  coder.Compress(source.data(), source.size(), out, &size);
  return kx_test::bytesOf(out, size);
}

Bytes compressed(const Bytes& source) {
  CCompression coder;
  return compressed(coder, source);
}

Bytes expanded(CCompression& coder, Bytes coded) {
  unsigned char* out = nullptr;
  unsigned long size = 12345;
  coder.Decompress(coded.data(), coded.size(), out, &size);
  return kx_test::bytesOf(out, size);
}

Bytes expanded(const Bytes& coded) {
  CCompression coder;
  return expanded(coder, coded);
}

Bytes repeated(const Bytes& pattern, size_t count) {
  Bytes bytes;
  for (size_t i = 0; i < count; ++i) bytes = join({bytes, pattern});
  return bytes;
}

class CompressionTest : public kx_test::KxTest {};

// --- Bytes ---

const std::string kText =
    "she sells sea shells on the sea shore; the shells that she sells are sea shells, i'm sure. "
    "so if she sells sea shells on the sea shore, i'm sure she sells sea shore shells";

Bytes countedUp(size_t count) {
  Bytes bytes;
  for (size_t i = 0; i < count; ++i) bytes.push_back(static_cast<unsigned char>(i));
  return bytes;
}

struct GoldenCode {
  const char* name;
  Bytes source;
};

std::vector<GoldenCode> goldenCodes() {
  return {{"coded-copied", {0, 1, 2, 3, 255}},
          {"coded-run", Bytes(64, 7)},
          {"coded-text", kx_test::bytesOf(kText)},
          {"coded-full-group", join({countedUp(16), countedUp(16), countedUp(15)})}};
}

TEST_F(CompressionTest, CodesTheGoldenBlocksByteForByte) {
  for (const GoldenCode& code : goldenCodes()) {
    EXPECT_EQ(kx_test::toHex(compressed(code.source)), kx_test::toHex(golden(code.name)))
        << code.name;
    EXPECT_EQ(kx_test::toHex(plainCompress(code.source)), kx_test::toHex(golden(code.name)))
        << code.name;
  }
}

TEST_F(CompressionTest, ExpandsTheGoldenBlocks) {
  for (const GoldenCode& code : goldenCodes()) {
    EXPECT_EQ(expanded(golden(code.name)), code.source) << code.name;
  }
}

TEST_F(CompressionTest, AnEmptySourceIsTheHeaderAlone) {
  EXPECT_EQ(compressed(Bytes()), (Bytes{1, 0, 0, 0}));
  EXPECT_EQ(expanded(Bytes{1, 0, 0, 0}), Bytes());
  EXPECT_EQ(expanded(Bytes{0, 0, 0, 0}), Bytes());
  EXPECT_EQ(expanded(Bytes{77, 0, 0, 0}), Bytes());
}

TEST_F(CompressionTest, FewerThanSixBytesAreAlwaysCopied) {
  for (size_t size = 1; size < 6; ++size) {
    EXPECT_EQ(compressed(Bytes(size, 9)), join({{1, 0, 0, 0}, Bytes(size, 9)}));
  }
}

TEST_F(CompressionTest, WhatDoesNotGetShorterIsCopied) {
  for (const size_t size : {size_t{6}, size_t{17}, size_t{600}, size_t{70000}}) {
    const Bytes noise = Noise(static_cast<uint32_t>(size)).bytes(size);
    EXPECT_EQ(compressed(noise), join({{1, 0, 0, 0}, noise})) << size;
  }
}

TEST_F(CompressionTest, ARunIsOneLiteralThenCopies) {
  const Bytes coded = compressed(Bytes(1000, 0xAB));
  EXPECT_EQ(kx_test::slice(coded, 0, 4), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(kx_test::slice(coded, 4, 7), (Bytes{0xFE, 0xFF, 0xAB, 0x0F, 1, 0x0F, 16}));
  EXPECT_EQ(expanded(coded), Bytes(1000, 0xAB));
}

TEST_F(CompressionTest, WithFewerThanSixteenBytesLeftOnlyLiteralsFollow) {
  // A match could start at offset 48; it does when 16 bytes are left there, not when 15 are.
  const Bytes front = countedUp(48);
  const Bytes coded = compressed(join({front, countedUp(16)}));
  EXPECT_EQ(kx_test::slice(coded, 4 + 3 * 18, 4), (Bytes{1, 0, 0x0F, 48}));
  EXPECT_EQ(coded.size(), 4u + 3 * 18 + 2 + 2);
  EXPECT_EQ(compressed(join({front, countedUp(15)}))[0], 1) << "no copy makes it shorter";
}

TEST_F(CompressionTest, CopiesReachFourThousandAndNinetyFiveBytesBack) {
  const Bytes pattern = kx_test::slice(countedUp(17), 1, 16);
  const Bytes zeros(8000, 0);
  for (const size_t gap : {size_t{4095 - 16}, size_t{4096 - 16}}) {
    const Bytes source = join({pattern, kx_test::slice(zeros, 0, gap), pattern, Bytes(40, 0)});
    const Bytes coded = compressed(source);
    const std::vector<kx_test::CodedItem> items = kx_test::plainItems(source);
    const bool reachesBack = std::any_of(items.begin(), items.end(), [](const auto& item) {
      return item.isCopy && item.offset == 4095;
    });
    EXPECT_EQ(reachesBack, gap + 16 == 4095);
    EXPECT_EQ(coded, kx_test::plainGroups(items));
    EXPECT_EQ(expanded(coded), source);
  }
}

TEST_F(CompressionTest, IsCodedWhenItsLastOffsetIsTheSourcesLengthAndCopiedOneBehind) {
  // The last offset counts the control word that stands reserved behind a full last group.
  CCompression coder;
  int coded[2] = {0, 0};
  int copied[2] = {0, 0};
  Noise noise(5);
  for (int i = 0; i < 5000; ++i) {
    const Bytes front = countedUp(16 + noise.below(48));
    const Bytes echo = kx_test::slice(front, 0, 4 + noise.below(12));
    const Bytes source = join({front, echo, noise.bytes(noise.below(60))});
    const std::vector<kx_test::CodedItem> items = kx_test::plainItems(source);
    const int isFull = items.size() % 16 == 0 ? 1 : 0;
    const size_t last = kx_test::plainGroups(items).size() + (isFull != 0 ? 2 : 0);
    if (last != source.size() && last != source.size() + 1) continue;
    const bool isCoded = last == source.size();
    (isCoded ? coded : copied)[isFull] += 1;
    EXPECT_EQ(compressed(coder, source)[0], isCoded ? 0 : 1) << kx_test::toHex(source);
  }
  for (const int isFull : {0, 1}) {
    EXPECT_GT(coded[isFull], 0) << isFull;
    EXPECT_GT(copied[isFull], 0) << isFull;
  }
}

TEST_F(CompressionTest, GivesTheSameBytesWhateverWasCodedBefore) {
  CCompression coder;
  const Bytes source = kx_test::bytesOf(kText);
  const Bytes first = compressed(coder, source);
  compressed(coder, Noise(3).bytes(70000));
  expanded(coder, compressed(Bytes(5000, 1)));
  EXPECT_EQ(compressed(coder, source), first);
}

TEST_F(CompressionTest, LargeSourcesComeBack) {
  CCompression coder;
  for (const size_t size : {size_t{65535}, size_t{65536}, size_t{65537}, size_t{400000}}) {
    const Bytes source = repeated(Noise(7).bytes(333), size / 333 + 1);
    EXPECT_EQ(expanded(coder, compressed(source)), source) << size;
    EXPECT_EQ(compressed(source), plainCompress(source)) << size;
  }
  EXPECT_EQ(expanded(compressed(Bytes(3000000, 0))), Bytes(3000000, 0));
}

// --- Any input ---

TEST_F(CompressionTest, AFlagOfOneGivesExactlyWhatFollows) {
  EXPECT_EQ(expanded(Bytes{1, 9, 9, 9, 5, 6, 7}), (Bytes{5, 6, 7}));
  const Bytes large = Noise(1).bytes(200000);
  EXPECT_EQ(expanded(join({{1, 0, 0, 0}, large})), large);
}

TEST_F(CompressionTest, AnyOtherFlagIsCoded) {
  EXPECT_EQ(expanded(Bytes{2, 9, 9, 9, 0, 0, 5, 6}), (Bytes{5, 6}));
  EXPECT_EQ(expanded(Bytes{255, 9, 9, 9, 4, 0, 5, 6, 0x02, 2, 7}), (Bytes{5, 6, 5, 6, 5, 7}));
}

TEST_F(CompressionTest, LessThanAHeaderIsEmpty) {
  for (size_t size = 0; size < 4; ++size) EXPECT_EQ(expanded(Bytes(size, 1)), Bytes());
  CCompression coder;
  unsigned char* out = nullptr;
  unsigned long size = 7;
  coder.Decompress(nullptr, 100, out, &size);
  EXPECT_EQ(size, 0u);
  coder.Compress(nullptr, 100, out, &size);
  EXPECT_EQ(kx_test::bytesOf(out, size), (Bytes{1, 0, 0, 0}));
}

TEST_F(CompressionTest, ACutItemEndsTheExpansion) {
  const Bytes whole = {0, 0, 0, 0, 2, 0, 5, 0x02, 1, 7};
  EXPECT_EQ(expanded(whole), (Bytes{5, 5, 5, 5, 7}));
  EXPECT_EQ(expanded(kx_test::slice(whole, 0, 8)), Bytes{5}) << "half a copy";
  EXPECT_EQ(expanded(kx_test::slice(whole, 0, 5)), Bytes()) << "half a control word";
  EXPECT_EQ(expanded(kx_test::slice(whole, 0, 6)), Bytes()) << "a control word alone";
}

TEST_F(CompressionTest, ACopyFromBeforeTheStartGivesZeros) {
  EXPECT_EQ(expanded(Bytes{0, 0, 0, 0, 3, 0, 0x03, 1, 0x12, 44, 9}),
            (Bytes{0, 0, 0, 0, 0, 0, 0, 9}));
  EXPECT_EQ(expanded(Bytes{0, 0, 0, 0, 2, 0, 5, 0x03, 2}), (Bytes{5, 0, 0, 0, 0}));
  EXPECT_EQ(expanded(Bytes{0, 0, 0, 0, 2, 0, 5, 0x03, 0}), (Bytes{5, 0, 0, 0, 0})) << "offset 0";
}

TEST_F(CompressionTest, ShortLengthsThatTheCoderNeverWritesExpandToo) {
  EXPECT_EQ(expanded(Bytes{0, 0, 0, 0, 6, 0, 5, 0x00, 1, 0x01, 1}), (Bytes{5, 5, 5, 5}));
}

TEST_F(CompressionTest, NoInputMakesTheDecoderGoAstray) {
  CCompression coder;
  Noise noise(99);
  for (int i = 0; i < 20000; ++i) {
    Bytes coded = noise.bytes(noise.below(120));
    if (!coded.empty() && i % 4 != 0) coded[0] = 0;
    EXPECT_EQ(expanded(coder, coded), plainDecompress(coded)) << kx_test::toHex(coded);
  }
}

TEST_F(CompressionTest, EveryCutAndEveryChangedByteOfACodedBlockExpandsSafely) {
  CCompression coder;
  for (const GoldenCode& code : goldenCodes()) {
    const Bytes block = golden(code.name);
    for (size_t size = 0; size <= block.size(); ++size) {
      const Bytes cut = kx_test::slice(block, 0, size);
      EXPECT_EQ(expanded(coder, cut), plainDecompress(cut)) << code.name << " cut to " << size;
    }
    for (size_t at = 0; at < block.size(); ++at) {
      for (const int value : {0x00, 0x01, 0x0F, 0x7F, 0x80, 0xF0, 0xFF}) {
        Bytes changed = block;
        changed[at] = static_cast<unsigned char>(value);
        EXPECT_EQ(expanded(coder, changed), plainDecompress(changed)) << code.name << " at " << at;
      }
    }
  }
}

// --- Beside the plain coder ---

Bytes runs(Noise& noise, size_t size) {
  Bytes bytes;
  while (bytes.size() < size) {
    bytes.insert(bytes.end(), 1 + noise.below(40), static_cast<unsigned char>(noise.below(4)));
  }
  bytes.resize(size);
  return bytes;
}

Bytes words(Noise& noise, size_t size) {
  static const char* const kWords[] = {"the ", "sea ", "shell", "s ",
                                       "sell", "and ", "\r\n",  "of "};
  std::string text;
  while (text.size() < size) text += kWords[noise.below(8)];
  return kx_test::bytesOf(text.substr(0, size));
}

Bytes noiseOf(Noise& noise, size_t size) { return noise.bytes(size); }

Bytes fewValues(Noise& noise, size_t size) {
  Bytes bytes = noise.bytes(size);
  for (unsigned char& byte : bytes) byte &= 0x11;
  return bytes;
}

Bytes echoes(Noise& noise, size_t size) {
  Bytes bytes = noise.bytes(1 + noise.below(60));
  while (bytes.size() < size) {
    const size_t from = noise.below(static_cast<uint32_t>(bytes.size()));
    const Bytes part =
        kx_test::slice(bytes, from, std::min<size_t>(1 + noise.below(30), bytes.size() - from));
    bytes = join({bytes, part});
    if (noise.below(3) == 0) bytes.push_back(static_cast<unsigned char>(noise.next()));
  }
  bytes.resize(size);
  return bytes;
}

void expectSame(CCompression& coder, const Bytes& source, const std::string& what) {
  const Bytes coded = compressed(coder, source);
  ASSERT_EQ(coded, plainCompress(source)) << what << ' ' << kx_test::toHex(source);
  ASSERT_EQ(expanded(coder, coded), source) << what << ' ' << kx_test::toHex(source);
  ASSERT_EQ(plainDecompress(coded), source) << what;
}

struct Kind {
  const char* name;
  Bytes (*make)(Noise&, size_t);
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

class SourceKindTest : public kx_test::KxTest, public ::testing::WithParamInterface<Kind> {};

TEST_P(SourceKindTest, IsCodedAsThePlainCoderDoesAtEveryLength) {
  constexpr int kRounds = 34;  // five kinds, 601 lengths: more than 100,000 sources
  CCompression coder;
  Noise noise(static_cast<uint32_t>(GetParam().name[0]));
  for (int round = 0; round < kRounds; ++round) {
    for (size_t size = 0; size <= 600; ++size) {
      expectSame(coder, GetParam().make(noise, size), GetParam().name);
      if (HasFatalFailure()) return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, SourceKindTest,
                         ::testing::Values(Kind{"Runs", runs}, Kind{"Words", words},
                                           Kind{"Noise", noiseOf}, Kind{"FewValues", fewValues},
                                           Kind{"Echoes", echoes}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(CompressionTest, RealPicturesAreCodedAsThePlainCoderDoes) {
  CCompression coder;
  for (const auto& file : kx_test::realPictures()) {
    expectSame(coder, kx_test::readFile(file), file.filename().string());
  }
}

// --- The buffer ---

TEST_F(CompressionTest, ResultsStandInTheObjectsBufferUntilItsNextCall) {
  CCompression coder;
  Bytes source(100, 5);
  unsigned char* first = nullptr;
  unsigned char* second = nullptr;
  unsigned long size = 0;
  coder.Compress(source.data(), source.size(), first, &size);
  const Bytes coded = kx_test::bytesOf(first, size);
  coder.Decompress(Bytes(coded).data(), coded.size(), second, &size);
  EXPECT_EQ(first, second) << "one buffer, which was large enough";
  EXPECT_EQ(kx_test::bytesOf(second, size), source);
}

TEST_F(CompressionTest, AFreedBufferIsMadeAgain) {
  CCompression coder;
  coder.freeMem();
  coder.freeMem();
  EXPECT_EQ(compressed(coder, Bytes(100, 5)), compressed(Bytes(100, 5)));
  coder.freeMem();
  EXPECT_EQ(expanded(coder, golden("coded-run")), Bytes(64, 7));
}

TEST_F(CompressionTest, CopiesShareTheBufferAndTheLastFreesIt) {
  auto first = std::make_unique<CCompression>();
  Bytes source(100, 5);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  first->Compress(source.data(), source.size(), out, &size);
  const Bytes coded = kx_test::bytesOf(out, size);
  CCompression second(*first);
  CCompression third;
  third = second;
  const CCompression& itself = third;
  third = itself;
  first.reset();
  EXPECT_EQ(kx_test::bytesOf(out, size), coded) << "the buffer is still there";
  unsigned char* again = nullptr;
  third.Compress(source.data(), source.size(), again, &size);
  EXPECT_EQ(again, out) << "and is the same one";
}

TEST_F(CompressionTest, ANullLengthIsNotWritten) {
  CCompression coder;
  Bytes source(10, 5);
  unsigned char* out = nullptr;
  coder.Compress(source.data(), source.size(), out, nullptr);
  EXPECT_EQ(kx_test::bytesOf(out, 14), join({{1, 0, 0, 0}, source}));
  Bytes coded = golden("coded-run");
  coder.Decompress(coded.data(), coded.size(), out, nullptr);
  EXPECT_EQ(kx_test::bytesOf(out, 64), Bytes(64, 7));
}

}  // namespace
