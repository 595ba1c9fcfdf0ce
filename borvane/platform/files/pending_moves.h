// Moving files now or after the next start of the system (the platform's MoveFileExA).
//
// Linux has no such start-up step, so a delayed move is recorded in the registry store with the
// id of the boot that asked for it, and `borvane pending apply` carries out the moves that an
// earlier boot recorded (a desktop session or a boot service may run it). Paths are Strings as
// the library writes them ("\" is a separator).
#ifndef BORVANE_PLATFORM_FILES_PENDING_MOVES_H_
#define BORVANE_PLATFORM_FILES_PENDING_MOVES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "borvane/automation/string.h"

namespace borvane::platform {

inline constexpr uint32_t MOVEFILE_REPLACE_EXISTING = 1;
inline constexpr uint32_t MOVEFILE_COPY_ALLOWED = 2;
inline constexpr uint32_t MOVEFILE_DELAY_UNTIL_REBOOT = 4;

// The key whose values are the recorded moves.
inline constexpr const char16_t* kPendingMovesKey =
    u"HKEY_LOCAL_MACHINE\\Software\\Borvane\\PendingFileRenameOperations";

// Moves `from` to `to` (an empty `to` deletes `from`), or with MOVEFILE_DELAY_UNTIL_REBOOT
// records the move for after the next boot. 0, or the platform's last-error number: 2 file not
// found, 3 path not found, 5 access denied, 183 the target exists (without
// MOVEFILE_REPLACE_EXISTING), 1016 the record could not be written.
int32_t MoveFileEx(const String& from, const String& to, uint32_t flags);

// The id of the running boot (/proc/sys/kernel/random/boot_id).
std::string CurrentBootId();

struct PendingMove {
  String name;  // the value that records it
  String from;
  String to;  // empty: delete `from`
  uint32_t flags = 0;
  std::string boot;
};

// The moves recorded, in the order they were recorded.
std::vector<PendingMove> PendingMoves();

// Carries out the moves that a boot other than `current_boot` recorded and forgets them; a
// move that fails stays recorded, and its line goes to `failures`. The number carried out.
int ApplyPendingMoves(const std::string& current_boot, std::vector<std::string>* failures);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FILES_PENDING_MOVES_H_
