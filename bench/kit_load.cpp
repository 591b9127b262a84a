// bench/kit_load: how fast `kittool verify` loads a kit, against two
// baselines on the same DEFLATE payload measured in the same run:
//   - `gzip -dc` of a gzip file holding that very stream (header + the raw
//     stream + CRC-32 and size), written to a file;
//   - a bare zlib loop (this program, re-executed) that inflates the raw
//     stream to a file in 32 KiB output chunks.
// Two kits: ~200 MB of text-like data in 400 files, and 10,000 small files.
// Peak memory comes from the children's rusage, and separately from sampling
// /proc/<pid>/status: RssAnon there is everything that is not a file mapping,
// so it is the part of kittool's memory that is not the kit's own mapping.
//
// usage: kit_load [--keep] [--runs N] [--size-mb N]
// Work files go to $KIT_BENCH_DIR, else /var/tmp. Targets: verify <= 1.10 x
// the bare loop, and below gzip -dc.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr const char* kKittool = KITSETUP_BINARY_DIR "/kittool";

// ---- data -------------------------------------------------------------------

struct Rng {
  uint64_t s = 0x9E3779B97F4A7C15ull;
  uint64_t Next() {
    s ^= s << 13;
    s ^= s >> 7;
    s ^= s << 17;
    return s;
  }
  double Unit() { return (Next() >> 11) * (1.0 / 9007199254740992.0); }
};

std::vector<std::string> Vocabulary(Rng& rng) {
  static const char* const kSyllables[] = {"ka", "lo", "re", "mi", "to", "san", "ver", "dok", "ment",
                                           "pro", "at", "ion", "el", "nor", "ba", "us", "quo", "ter"};
  std::vector<std::string> words;
  for (int i = 0; i < 3000; ++i) {
    std::string w;
    int n = 1 + static_cast<int>(rng.Next() % 4);
    for (int j = 0; j < n; ++j) w += kSyllables[rng.Next() % 18];
    words.push_back(w);
  }
  return words;
}

// Configuration-template-like text: tagged blocks, key = value lines with
// numbers, prose comments; common words far more frequent than rare ones.
std::string TextFile(Rng& rng, const std::vector<std::string>& words, size_t size) {
  std::string out;
  out.reserve(size + 256);
  auto word = [&]() -> const std::string& {
    double u = rng.Unit();
    return words[static_cast<size_t>(u * u * u * words.size())];
  };
  while (out.size() < size) {
    switch (rng.Next() % 4) {
      case 0:
        out += "<" + word() + " id=\"" + std::to_string(rng.Next() % 100000) + "\">\n";
        break;
      case 1:
        out += "  " + word() + "." + word() + " = " + std::to_string(rng.Next() % 1000000) + "\n";
        break;
      case 2: {
        out += "# ";
        int n = 4 + static_cast<int>(rng.Next() % 10);
        for (int i = 0; i < n; ++i) out += word() + (i + 1 < n ? " " : "\n");
        break;
      }
      default:
        out += "</" + word() + ">\n";
    }
  }
  out.resize(size);
  return out;
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

uint64_t FileSize(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

void MakeTree(const std::string& root, int files, size_t min_size, size_t max_size, uint64_t seed) {
  Rng rng;
  rng.s ^= seed;
  std::vector<std::string> words = Vocabulary(rng);
  for (int d = 0; d < 20; ++d) mkdir((root + "/dir" + std::to_string(d)).c_str(), 0755);
  for (int i = 0; i < files; ++i) {
    size_t size = min_size + (max_size > min_size ? rng.Next() % (max_size - min_size + 1) : 0);
    WriteFile(root + "/dir" + std::to_string(i % 20) + "/file" + std::to_string(i) + ".txt",
              TextFile(rng, words, size));
  }
}

// ---- children ---------------------------------------------------------------

struct Run {
  double seconds = 0;
  long maxrss_kb = 0;   // rusage of the child
  long anon_kb = 0;     // peak RssAnon sampled (when sampling)
  long file_kb = 0;     // peak RssFile sampled
  int status = 0;
};

long StatusField(pid_t pid, const char* field) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  size_t n = std::strlen(field);
  while (std::getline(in, line)) {
    if (line.compare(0, n, field) == 0) return std::atol(line.c_str() + n + 1);
  }
  return 0;
}

// Runs argv with stdout to `out` (or /dev/null) and TMPDIR as given.
Run Spawn(const std::vector<std::string>& args, const std::string& out, const std::string& tmpdir, bool sample) {
  auto start = std::chrono::steady_clock::now();
  pid_t pid = fork();
  if (pid == 0) {
    int fd = open(out.empty() ? "/dev/null" : out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(fd, 1);
    if (!tmpdir.empty()) setenv("TMPDIR", tmpdir.c_str(), 1);
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  Run r;
  struct rusage usage;
  if (sample) {
    while (wait4(pid, &r.status, WNOHANG, &usage) == 0) {
      r.anon_kb = std::max(r.anon_kb, StatusField(pid, "RssAnon:"));
      r.file_kb = std::max(r.file_kb, StatusField(pid, "RssFile:"));
      usleep(1000);
    }
  } else {
    wait4(pid, &r.status, 0, &usage);
  }
  r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  r.maxrss_kb = usage.ru_maxrss;
  return r;
}

// The bare loop: read the raw stream, inflate 32 KiB at a time, write.
int BareInflate(const char* in_path, const char* out_path) {
  int in = open(in_path, O_RDONLY);
  int out = open(out_path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (in < 0 || out < 0) return 1;
  z_stream zs{};
  if (inflateInit2(&zs, -15) != Z_OK) return 1;
  std::vector<unsigned char> input(256 * 1024), chunk(32768);
  int ret = Z_OK;
  while (ret != Z_STREAM_END) {
    ssize_t n = read(in, input.data(), input.size());
    if (n <= 0) break;
    zs.next_in = input.data();
    zs.avail_in = static_cast<uInt>(n);
    do {
      zs.next_out = chunk.data();
      zs.avail_out = static_cast<uInt>(chunk.size());
      ret = inflate(&zs, Z_NO_FLUSH);
      if (ret < 0 && ret != Z_BUF_ERROR) return 1;
      size_t have = chunk.size() - zs.avail_out;
      if (have && write(out, chunk.data(), have) != static_cast<ssize_t>(have)) return 1;
    } while (zs.avail_out == 0);
  }
  inflateEnd(&zs);
  close(out);
  close(in);
  return 0;
}

// A gzip file around the raw stream: header, stream, CRC-32, size mod 2^32.
void WriteGzip(const std::string& kit, const std::string& unpacked, const std::string& gz) {
  uLong crc = crc32(0, nullptr, 0);
  uint64_t size = 0;
  {
    int fd = open(unpacked.c_str(), O_RDONLY);
    std::vector<unsigned char> buf(1 << 20);
    ssize_t n;
    while ((n = read(fd, buf.data(), buf.size())) > 0) {
      crc = crc32(crc, buf.data(), static_cast<uInt>(n));
      size += static_cast<uint64_t>(n);
    }
    close(fd);
  }
  std::ifstream in(kit, std::ios::binary);
  std::ofstream out(gz, std::ios::binary);
  const unsigned char header[10] = {0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 0, 3};
  out.write(reinterpret_cast<const char*>(header), 10);
  out << in.rdbuf();
  unsigned char trailer[8];
  for (int i = 0; i < 4; ++i) trailer[i] = static_cast<unsigned char>(crc >> (8 * i));
  for (int i = 0; i < 4; ++i) trailer[4 + i] = static_cast<unsigned char>(size >> (8 * i));
  out.write(reinterpret_cast<const char*>(trailer), 8);
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

bool Ok(const Run& r) { return WIFEXITED(r.status) && WEXITSTATUS(r.status) == 0; }

struct KitFigures {
  double verify = 0, bare = 0, gzip = 0;
  long verify_rss = 0, bare_rss = 0, gzip_rss = 0, verify_anon = 0, verify_file = 0;
};

KitFigures Measure(const char* self, const std::string& work, const std::string& kit, int runs) {
  const std::string out = work + "/out", stage = work + "/stage", gz = kit + ".gz";
  mkdir(stage.c_str(), 0755);
  // Warm-up (also yields the unpacked bytes for the gzip trailer).
  Spawn({self, "--bare-inflate", kit, out}, "", "", false);
  WriteGzip(kit, out, gz);
  unlink(out.c_str());
  Spawn({kKittool, "verify", kit}, "", stage, false);
  Spawn({"gzip", "-dc", gz}, out, "", false);
  unlink(out.c_str());

  std::vector<double> verify, bare, gzip;
  KitFigures f;
  for (int i = 0; i < runs; ++i) {
    Run v = Spawn({kKittool, "verify", kit}, "", stage, false);
    Run b = Spawn({self, "--bare-inflate", kit, out}, "", "", false);
    unlink(out.c_str());
    Run g = Spawn({"gzip", "-dc", gz}, out, "", false);
    unlink(out.c_str());
    if (!Ok(v) || !Ok(b) || !Ok(g)) {
      std::fprintf(stderr, "kit_load: a run failed (verify %d, bare %d, gzip %d)\n", v.status, b.status, g.status);
      std::exit(1);
    }
    verify.push_back(v.seconds);
    bare.push_back(b.seconds);
    gzip.push_back(g.seconds);
    f.verify_rss = std::max(f.verify_rss, v.maxrss_kb);
    f.bare_rss = std::max(f.bare_rss, b.maxrss_kb);
    f.gzip_rss = std::max(f.gzip_rss, g.maxrss_kb);
  }
  Run sampled = Spawn({kKittool, "verify", kit}, "", stage, true);
  f.verify_anon = sampled.anon_kb;
  f.verify_file = sampled.file_kb;
  f.verify = Median(verify);
  f.bare = Median(bare);
  f.gzip = Median(gzip);
  unlink(gz.c_str());
  return f;
}

void Report(const char* label, uint64_t unpacked, uint64_t packed, const KitFigures& f) {
  std::printf("\n%s: %.1f MB unpacked, %.1f MB kit\n", label, unpacked / 1e6, packed / 1e6);
  std::printf("  kittool verify   %7.3f s   peak RSS %6ld KiB\n", f.verify, f.verify_rss);
  std::printf("  bare zlib loop   %7.3f s   peak RSS %6ld KiB\n", f.bare, f.bare_rss);
  std::printf("  gzip -dc         %7.3f s   peak RSS %6ld KiB\n", f.gzip, f.gzip_rss);
  std::printf("  verify / bare loop = %.3f  (target <= 1.10)  %s\n", f.verify / f.bare,
              f.verify / f.bare <= 1.10 ? "ok" : "MISSED");
  std::printf("  verify / gzip -dc  = %.3f  (target < 1.00)   %s\n", f.verify / f.gzip,
              f.verify < f.gzip ? "ok" : "MISSED");
  std::printf("  kittool verify, sampled: peak RssAnon %ld KiB (not the kit's mapping), peak RssFile %ld KiB\n",
              f.verify_anon, f.verify_file);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && !std::strcmp(argv[1], "--bare-inflate")) return BareInflate(argv[2], argv[3]);
  bool keep = false;
  int runs = 5;
  size_t size_mb = 200;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--keep")) {
      keep = true;
    } else if (!std::strcmp(argv[i], "--runs") && i + 1 < argc) {
      runs = std::max(1, std::atoi(argv[++i]));
    } else if (!std::strcmp(argv[i], "--size-mb") && i + 1 < argc) {
      size_mb = static_cast<size_t>(std::max(1, std::atoi(argv[++i])));
    } else {
      std::fprintf(stderr, "usage: kit_load [--keep] [--runs N] [--size-mb N]\n");
      return 2;
    }
  }
  const char* base = getenv("KIT_BENCH_DIR");
  std::string pattern = std::string(base ? base : "/var/tmp") + "/kit_load_XXXXXX";
  std::vector<char> buf(pattern.begin(), pattern.end());
  buf.push_back('\0');
  if (!mkdtemp(buf.data())) {
    std::perror("kit_load: mkdtemp");
    return 1;
  }
  const std::string work = buf.data();
  std::printf("kit_load: work directory %s, %d timed runs each (median)\n", work.c_str(), runs);

  struct Case {
    const char* label;
    const char* dir;
    int files;
    size_t min_size, max_size;
  };
  const size_t big_file = size_mb * 1000000 / 400;
  const Case cases[] = {{"text kit (400 files)", "big", 400, big_file, big_file},
                        {"small-file kit (10,000 files)", "small", 10000, 100, 8192}};
  int failures = 0;
  for (const Case& c : cases) {
    std::string src = work + "/" + c.dir, kit = work + "/" + c.dir + ".efd";
    mkdir(src.c_str(), 0755);
    MakeTree(src, c.files, c.min_size, c.max_size, c.files);
    Run pack = Spawn({kKittool, "pack", "--describe", "en", "Bench", "Bench", "", src, kit}, "", "", false);
    if (!Ok(pack)) {
      std::fprintf(stderr, "kit_load: kittool pack failed\n");
      return 1;
    }
    std::printf("\npacked %s in %.2f s\n", c.label, pack.seconds);
    KitFigures f = Measure(argv[0], work, kit, runs);
    uint64_t unpacked = 0;
    {
      // The unpacked size: inflate once more with the bare loop.
      std::string out = work + "/out";
      Spawn({argv[0], "--bare-inflate", kit, out}, "", "", false);
      unpacked = FileSize(out);
      unlink(out.c_str());
    }
    Report(c.label, unpacked, FileSize(kit), f);
    failures += f.verify / f.bare > 1.10 || f.verify >= f.gzip;
  }
  if (!keep) std::system(("rm -rf '" + work + "'").c_str());
  return failures ? 3 : 0;
}
