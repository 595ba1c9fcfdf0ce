// A file descriptor closed when the scope ends, for the platform's own implementations.
#ifndef BORVANE_PLATFORM_BASE_UNIQUE_FD_H_
#define BORVANE_PLATFORM_BASE_UNIQUE_FD_H_

#include <unistd.h>

namespace borvane::platform {

class UniqueFd {
 public:
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() {
    if (fd_ >= 0) ::close(fd_);
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  int get() const { return fd_; }
  // Closes now, so that an error of the close is seen.
  int Close() {
    int r = ::close(fd_);
    fd_ = -1;
    return r;
  }

 private:
  int fd_;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_UNIQUE_FD_H_
