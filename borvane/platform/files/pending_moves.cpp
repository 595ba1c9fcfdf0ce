#include "borvane/platform/files/pending_moves.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fstream>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/registry/registry.h"

namespace borvane::platform {

namespace {

int32_t LastError(int e) {
  switch (e) {
    case ENOENT:
      return 2;
    case ENOTDIR:
      return 3;
    case EEXIST:
    case ENOTEMPTY:
      return 183;
    case EXDEV:
      return 17;  // not the same device
    default:
      return 5;
  }
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

int32_t MoveNow(const String& from_path, const String& to_path, uint32_t flags) {
  std::string from = NativePath(from_path), to = NativePath(to_path);
  if (!Exists(from)) return LastError(errno);
  if (to.empty()) return ::unlink(from.c_str()) == 0 ? 0 : LastError(errno);
  if (!(flags & MOVEFILE_REPLACE_EXISTING) && Exists(to)) return 183;
  if (::rename(from.c_str(), to.c_str()) == 0) return 0;
  if (errno != EXDEV) return LastError(errno);
  // Another file system: a copy that replaces the target whole, then the source goes.
  std::string bytes;
  if (Files().ReadFile(from_path, bytes) != 0) return 5;
  if (ReplaceFileContent(to, bytes) != 0) return 5;
  return ::unlink(from.c_str()) == 0 ? 0 : LastError(errno);
}

}  // namespace

std::string CurrentBootId() {
  std::ifstream in("/proc/sys/kernel/random/boot_id");
  std::string id;
  std::getline(in, id);
  return id;
}

int32_t MoveFileEx(const String& from, const String& to, uint32_t flags) {
  if (!(flags & MOVEFILE_DELAY_UNTIL_REBOOT)) return MoveNow(from, to, flags);
  // One value per move, so that two recorders never rewrite each other's list.
  static std::atomic<int> counter{0};
  std::string name = std::to_string(std::time(nullptr)) + "-" + std::to_string(::getpid()) + "-" +
                     std::to_string(counter++);
  std::string flag_text = std::to_string(flags);
  std::u16string list = from.str() + u'\0' + to.str() + u'\0' +
                        String::FromUtf8(CurrentBootId()).str() + u'\0' +
                        String::FromUtf8(flag_text).str();
  return Registry().Set(kPendingMovesKey,
                        RegistryValue::Text(String::FromUtf8(name), String(list), REG_MULTI_SZ));
}

std::vector<PendingMove> PendingMoves() {
  std::vector<RegistryValue> values;
  std::vector<PendingMove> moves;
  if (Registry().Values(kPendingMovesKey, values) != 0) return moves;
  for (const RegistryValue& v : values) {
    if (v.type != REG_MULTI_SZ) continue;
    std::vector<std::u16string> parts(1);
    for (size_t i = 0; i + 1 < v.data.size(); i += 2) {
      char16_t c = static_cast<char16_t>(static_cast<uint8_t>(v.data[i]) |
                                         static_cast<uint8_t>(v.data[i + 1]) << 8);
      if (c == 0) {
        parts.emplace_back();
      } else {
        parts.back() += c;
      }
    }
    if (parts.size() < 4) continue;
    PendingMove m;
    m.name = v.name;
    m.from = String(parts[0]);
    m.to = String(parts[1]);
    m.boot = String(parts[2]).ToUtf8();
    m.flags = static_cast<uint32_t>(std::strtoul(String(parts[3]).ToUtf8().c_str(), nullptr, 10));
    moves.push_back(std::move(m));
  }
  return moves;
}

int ApplyPendingMoves(const std::string& current_boot, std::vector<std::string>* failures) {
  int done = 0;
  for (const PendingMove& m : PendingMoves()) {
    if (m.boot == current_boot) continue;  // waits for the next start
    int32_t e = MoveNow(m.from, m.to, m.flags & ~MOVEFILE_DELAY_UNTIL_REBOOT);
    if (e == 0) {
      Registry().DeleteValue(kPendingMovesKey, m.name);
      ++done;
    } else if (failures) {
      failures->push_back(m.from.ToUtf8() + " -> " + m.to.ToUtf8() + ": error " +
                          std::to_string(e));
    }
  }
  return done;
}

}  // namespace borvane::platform
