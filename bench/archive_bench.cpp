// Storing and loading a node array of 1,000,000 nodes through CArchive, against a plain
// memcpy of the same 56 MB as the physical limit. Streams write into a preallocated buffer
// so that stream growth is not what is measured.
#include <benchmark/benchmark.h>

#include <cstring>
#include <istream>
#include <streambuf>
#include <vector>

#include "bench/ratio.h"
#include "plexa/plexa.h"

namespace {

constexpr int kNodes = 1000000;

// A fixed buffer read and written through std::iostream without reallocation.
class FixedBuf : public std::streambuf {
 public:
  explicit FixedBuf(std::vector<char>& b) : buf_(b) { Rewind(); }
  void Rewind() {
    setp(buf_.data(), buf_.data() + buf_.size());
    setg(buf_.data(), buf_.data(), buf_.data() + buf_.size());
  }

 protected:
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    const std::streamsize room = epptr() - pptr();
    if (n > room) n = room;
    std::memcpy(pptr(), s, static_cast<std::size_t>(n));
    pbump(static_cast<int>(n));
    return n;
  }
  std::streamsize xsgetn(char* s, std::streamsize n) override {
    const std::streamsize left = egptr() - gptr();
    if (n > left) n = left;
    std::memcpy(s, gptr(), static_cast<std::size_t>(n));
    gbump(static_cast<int>(n));
    return n;
  }
  pos_type seekoff(off_type off, std::ios_base::seekdir dir, std::ios_base::openmode) override {
    const off_type base = dir == std::ios_base::beg   ? 0
                          : dir == std::ios_base::cur ? gptr() - eback()
                                                      : egptr() - eback();
    setg(eback(), eback() + base + off, egptr());
    return base + off;
  }
  pos_type seekpos(pos_type pos, std::ios_base::openmode m) override {
    return seekoff(off_type(pos), std::ios_base::beg, m);
  }

 private:
  std::vector<char>& buf_;
};

CBPointArray MakeNodes() {
  CBPointArray a;
  a.SetSize(kNodes);
  for (int i = 0; i < kNodes; ++i)
    a[i] = PLEXA::CBPOINT(PLEXA::CDPOINT(i, 1), PLEXA::CDPOINT(i, 2), PLEXA::CDPOINT(i, 3));
  return a;
}

const std::size_t kBytes = 6 + std::size_t{56} * kNodes;

void BM_Memcpy(benchmark::State& state) {
  std::vector<char> src(kBytes, 1), dst(kBytes);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), kBytes);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

void BM_Store(benchmark::State& state) {
  CBPointArray a = MakeNodes();
  std::vector<char> buf(kBytes);
  FixedBuf sb(buf);
  std::iostream s(&sb);
  for (auto _ : state) {
    sb.Rewind();
    CArchive ar(s, CArchive::store);
    a.Serialize(ar);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

void BM_Load(benchmark::State& state) {
  CBPointArray a = MakeNodes();
  std::vector<char> buf(kBytes);
  FixedBuf sb(buf);
  std::iostream s(&sb);
  {
    CArchive ar(s, CArchive::store);
    a.Serialize(ar);
  }
  CBPointArray b;
  for (auto _ : state) {
    sb.Rewind();
    s.clear();
    CArchive ar(s, CArchive::load);
    b.Serialize(ar);
    benchmark::DoNotOptimize(b.GetData());
  }
  if (!(b == a)) state.SkipWithError("loaded nodes differ");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

}  // namespace

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Store)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("BM_Store", "BM_Memcpy");
  reporter.PrintRatio("BM_Load", "BM_Memcpy");
  benchmark::Shutdown();
}
