// Coding the pixels of a picture, and decoding them.

#include <benchmark/benchmark.h>
#include <lz4.h>
#include <snappy.h>
#include <zlib.h>

#include <cstring>

#include "KX_FileIO.h"
#include "Pictures.h"
#include "PlainCoder.h"

namespace kx_bench {
namespace {

// Each coder takes bytes and gives bytes that stay its own until its next call.
struct Coded {
  const void* bytes;
  size_t size;
};

struct KxCoder {
  kx_gen::CCompression coder;
  explicit KxCoder(size_t /*pixels*/) {}
  Coded code(const Bytes& source) { return run(&kx_gen::CCompression::Compress, source); }
  Coded decode(const Bytes& coded) { return run(&kx_gen::CCompression::Decompress, coded); }

  template <class Call>
  Coded run(Call call, const Bytes& source) {
    Bytes& bytes = const_cast<Bytes&>(source);  // NOLINT: the interface has it so, and only reads
    unsigned char* out = nullptr;
    unsigned long size = 0;
    (coder.*call)(bytes.data(), static_cast<unsigned long>(bytes.size()), out, &size);
    return {out, size};
  }
};

struct Lz4Coder {
  Bytes out;
  explicit Lz4Coder(size_t pixels)
      : out(static_cast<size_t>(LZ4_compressBound(static_cast<int>(pixels)))) {}
  Coded code(const Bytes& source) {
    return made(
        LZ4_compress_default(text(source.data()), text(out.data()), sizeOf(source), sizeOf(out)));
  }
  Coded decode(const Bytes& coded) {
    return made(
        LZ4_decompress_safe(text(coded.data()), text(out.data()), sizeOf(coded), sizeOf(out)));
  }
  static const char* text(const unsigned char* bytes) {
    return reinterpret_cast<const char*>(bytes);
  }
  static char* text(unsigned char* bytes) { return reinterpret_cast<char*>(bytes); }
  static int sizeOf(const Bytes& bytes) { return static_cast<int>(bytes.size()); }
  Coded made(int size) { return {out.data(), static_cast<size_t>(size)}; }
};

struct SnappyCoder {
  Bytes out;
  explicit SnappyCoder(size_t pixels) : out(snappy::MaxCompressedLength(pixels)) {}
  Coded code(const Bytes& source) {
    size_t size = 0;
    snappy::RawCompress(reinterpret_cast<const char*>(source.data()), source.size(),
                        reinterpret_cast<char*>(out.data()), &size);
    return {out.data(), size};
  }
  Coded decode(const Bytes& coded) {
    const auto* bytes = reinterpret_cast<const char*>(coded.data());
    size_t size = 0;
    snappy::GetUncompressedLength(bytes, coded.size(), &size);
    snappy::RawUncompress(bytes, coded.size(), reinterpret_cast<char*>(out.data()));
    return {out.data(), size};
  }
};

struct ZlibCoder {
  Bytes out;
  explicit ZlibCoder(size_t pixels) : out(compressBound(pixels)) {}
  Coded code(const Bytes& source) {
    uLongf size = out.size();
    compress2(out.data(), &size, source.data(), source.size(), 1);
    return {out.data(), size};
  }
  Coded decode(const Bytes& coded) {
    uLongf size = out.size();
    uncompress(out.data(), &size, coded.data(), coded.size());
    return {out.data(), size};
  }
};

struct MemcpyCoder {
  Bytes out;
  explicit MemcpyCoder(size_t pixels) : out(pixels) {}
  Coded code(const Bytes& source) {
    std::memcpy(out.data(), source.data(), source.size());
    return {out.data(), source.size()};
  }
  Coded decode(const Bytes& coded) { return code(coded); }
};

struct PlainCoder {
  Bytes out;
  explicit PlainCoder(size_t /*pixels*/) {}
  Coded code(const Bytes& source) { return made(kx_test::plainCompress(source)); }
  Coded decode(const Bytes& coded) { return made(kx_test::plainDecompress(coded)); }
  Coded made(Bytes bytes) {
    out = std::move(bytes);
    return {out.data(), out.size()};
  }
};

Bytes copyOf(Coded coded) {
  const auto* bytes = static_cast<const unsigned char*>(coded.bytes);
  return Bytes(bytes, bytes + coded.size);
}

void countPixels(benchmark::State& state, const Bytes& pixels) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * pixels.size()));
}

template <class Coder>
void compressPicture(benchmark::State& state, const Bytes& pixels) {
  Coder coder(pixels.size());
  Coded coded = {};
  for (auto _ : state) {
    coded = coder.code(pixels);
    benchmark::DoNotOptimize(coded.bytes);
    benchmark::ClobberMemory();
  }
  countPixels(state, pixels);
  state.counters["size"] = static_cast<double>(coded.size);
}

template <class Coder>
void decompressPicture(benchmark::State& state, const Bytes& pixels) {
  Coder coder(pixels.size());
  const Bytes coded = copyOf(coder.code(pixels));
  for (auto _ : state) {
    benchmark::DoNotOptimize(coder.decode(coded).bytes);
    benchmark::ClobberMemory();
  }
  if (copyOf(coder.decode(coded)) != pixels) state.SkipWithError("the pixels have changed");
  countPixels(state, pixels);
}

template <class Coder>
void registerEngine(const std::string& engine, const Picture& picture) {
  const std::string name = engine + "/" + picture.name;
  const auto setUp = [&picture](const std::string& benchmark, auto measure) {
    benchmark::RegisterBenchmark(benchmark.c_str(), [&picture, measure](benchmark::State& state) {
      measure(state, picture.pixels);
    })->Unit(benchmark::kMillisecond);
  };
  setUp("Compress/" + name, &compressPicture<Coder>);
  setUp("Decompress/" + name, &decompressPicture<Coder>);
}

bool registerAll() {
  for (const Picture& picture : pictures()) {
    registerEngine<KxCoder>("kx", picture);
    registerEngine<Lz4Coder>("lz4", picture);
    registerEngine<SnappyCoder>("snappy", picture);
    registerEngine<ZlibCoder>("zlib1", picture);
    registerEngine<MemcpyCoder>("memcpy", picture);
    registerEngine<PlainCoder>("plain", picture);
  }
  return true;
}

const bool registered = registerAll();

}  // namespace
}  // namespace kx_bench
