// Figure 4: copying a pool.
//
//  4 append_pool:  KVTSimRpm_File::AppendPool of the pool written by figure 1
//                  / pread(2) and write(2) of the same byte range in 256 KiB
//                  blocks.

#include <unistd.h>

#include <algorithm>

#include "stream_common.h"

namespace bench::stream {
namespace {

void AppendPoolLibrary(benchmark::State& state) {
  std::string const path = PathOf("copy-lib.sim");
  std::uint64_t const record = kFirstPoolHeader + TheConfig().bytes;
  KVTSimRpm_Document source(kSig);
  RunThroughput(
      state, record, [] { WarmFile(DataFile()); },
      [&] {
        // Opened by the first iteration; later ones get the same file back.
        KVTSimRpm_File sourceFile =
            source.AddFile(KVTString(DataFile().c_str()), KVTSimRpm_Document::AccessRead);
        return TimeLibraryWrite(path,
                                [&](KVTSimRpm_File& file) { file.AppendPool(sourceFile.Pool()); });
      });
}

void AppendPoolBaseline(benchmark::State& state) {
  std::string const path = PathOf("copy-raw.bin");
  std::uint64_t const record = kFirstPoolHeader + TheConfig().bytes;
  std::vector<char> block(kChunk);
  std::string from;
  int source = -1;
  auto prepare = [&] {
    from = DataFile();
    WarmFile(from);
    source = OpenOrFail(from);
  };
  RunThroughput(state, record, prepare, [&] {
    Unlink(path);
    Stopwatch watch;
    int fd = OpenOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
    for (std::uint64_t done = 0; done < record;) {
      std::size_t n = PReadFull(source, block.data(),
                                std::min<std::uint64_t>(kChunk, record - done), done, from);
      Check(n != 0, "source ended early");
      WriteAll(fd, block.data(), n, path);
      done += n;
    }
    CloseOrFail(fd, path);
    double seconds = watch.Seconds();
    CheckAndRemove(path, record);
    return seconds;
  });
  if (source >= 0)
    ::close(source);
}

}  // namespace

void RegisterCopyFigures() {
  RegisterTimed("4_append_pool/library", AppendPoolLibrary);
  RegisterTimed("4_append_pool/baseline", AppendPoolBaseline);
}

}  // namespace bench::stream
