// Hints to the system about memory the library is about to fill. They change how fast a large
// block is first touched and nothing else that a caller can see, so that, unlike the other
// services, they need no double for tests.
#ifndef BORVANE_PLATFORM_BASE_MEMORY_H_
#define BORVANE_PLATFORM_BASE_MEMORY_H_

#include <cstddef>

namespace borvane::platform {

// Tells the system that the `bytes` at `data`, not touched yet, are about to be written from
// end to end. On Linux the part of a block of several megabytes that spans whole 2 MiB pages is
// offered to transparent huge pages, so that a large text costs a few hundred page faults
// rather than tens of thousands; smaller blocks are left alone. Never fails.
void AdviseWholeWrite(void* data, size_t bytes) noexcept;

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_MEMORY_H_
