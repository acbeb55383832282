#include "kept_attributes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace trove::client_detail {

KeptAttributes::KeptAttributes(const std::string& storePath) {
  struct stat store;
  if (::stat(storePath.c_str(), &store) != 0 || !S_ISREG(store.st_mode)) return;
  char thread[9];
  std::snprintf(thread, sizeof thread, "%x", static_cast<unsigned>(::gettid()));
  const std::string temporary = storePath + ".tmp" + thread;
  // Made private first, so the file is never more open than the store.
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return;  // the save then makes the file itself and reports its own errors
  struct stat made;
  if (::fstat(fd, &made) == 0 && S_ISREG(made.st_mode) && made.st_size == 0) {
    // Owner first: a change of owner may clear set-id bits that the mode sets.
    if (made.st_uid != store.st_uid || made.st_gid != store.st_gid) {
      if (::fchown(fd, store.st_uid, store.st_gid) != 0) {
        [[maybe_unused]] int ignored = ::fchown(fd, static_cast<uid_t>(-1), store.st_gid);
      }
    }
    ::fchmod(fd, store.st_mode & 07777);
    temporary_ = temporary;
  }
  ::close(fd);
}

KeptAttributes::~KeptAttributes() {
  if (temporary_.empty()) return;
  struct stat left;
  if (::stat(temporary_.c_str(), &left) == 0 && S_ISREG(left.st_mode) && left.st_size == 0) {
    ::unlink(temporary_.c_str());
  }
}

}  // namespace trove::client_detail
