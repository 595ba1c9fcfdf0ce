// A compiled help file read in a process of its own. chmlib trusts what it reads: a damaged or
// hostile file can make it crash, loop or expand a few bytes into gigabytes. The reader process
// takes all of that on itself: every request has a time limit and a size limit, a reader that
// passes either is killed and its file counts as damaged, and a reader dies with the process
// that started it.
#ifndef BORVANE_PLATFORM_HELP_CHM_READER_H_
#define BORVANE_PLATFORM_HELP_CHM_READER_H_

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace borvane::platform {

// What the reader answers.
enum class ReadStatus { kOk, kMissing, kTooLarge, kDamaged };

// Limits of one reader. Expanded bytes are bounded relative to the archive: text compresses
// a few times over, never hundreds of times, so an entry or a pass over every entry that would
// pass the bound is no help file's content.
struct ReaderLimits {
  int open_ms = 10'000;       // opening the file and reading its directory
  int request_ms = 10'000;    // one stored file
  int pass_ms = 120'000;      // a pass over every page (the search index)
  uint64_t expansion = 64;    // bytes one answer may hold per byte of the archive...
  uint64_t floor = 16 << 20;  // ...and at least this many
};

class ChmReader {
 public:
  ~ChmReader();
  ChmReader(const ChmReader&) = delete;
  ChmReader& operator=(const ChmReader&) = delete;

  // Starts `program` (a program that runs RunChmReader on its arguments after `argv_prefix`)
  // for the help file at the native `chm`: nullptr, with the reason in `why`, when it cannot be
  // started or the file cannot be opened as a compiled help file in time.
  static std::unique_ptr<ChmReader> Start(const std::vector<std::string>& argv_prefix,
                                          const std::string& chm, const ReaderLimits& limits,
                                          std::string* why);

  // The stored file `name` ("dir/page.htm"; compared without regard to case).
  ReadStatus Read(const std::string& name, std::string& bytes);
  // The same, passed to `piece` as it comes, 64 KB at most at a time, so that a large file is
  // never held whole. A file cut short ends the reader and counts as damaged.
  ReadStatus ReadInPieces(const std::string& name,
                          const std::function<void(std::string_view)>& piece);
  // Whether the stored file `name` is there; false also for a reader that failed.
  bool Exists(const std::string& name);
  // The search index of every page (help_search.h), made in the reader.
  ReadStatus BuildSearchIndex(std::string& bytes);
  // The search index from the file's own full-text index (help_fulltext.h): kMissing for a
  // file that has none, or none the reader knows.
  ReadStatus BuildFulltextIndex(std::string& bytes);

  // True once the reader was killed or died: every later request answers kDamaged.
  bool damaged() const { return pid_ <= 0; }

 private:
  ChmReader(pid_t pid, int to, int from, uint64_t bound, const ReaderLimits& limits)
      : pid_(pid), to_(to), from_(from), bound_(bound), limits_(limits) {}
  ReadStatus Request(const std::string& line, std::string& bytes, int timeout_ms);
  bool ReadAnswer(std::string& head, std::string& bytes, int timeout_ms);
  // The head line of an answer: its status word and the length of what follows.
  bool ReadHead(std::string& head, uint64_t& length, int64_t deadline);
  void Kill();

  pid_t pid_;
  int to_, from_;
  uint64_t bound_;
  ReaderLimits limits_;
};

// The reader process's side: answers requests on standard input on standard output for the
// help file `chm` until its input ends. The return value is the process's exit status.
int RunChmReader(const std::string& chm, uint64_t bound);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_CHM_READER_H_
