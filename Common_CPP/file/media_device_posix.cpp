#include "Common_CPP/file/media_device.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "Common_CPP/file/media_tree_posix.h"
#include "Common_CPP/util/text.h"

std::optional<SkxMediaDevice> KxMedia_DeviceOf(CkxTextView path) {
  const std::string native = KxText_ToUtf8(path);
  struct statx status {};
  if (native.find('\0') != std::string::npos ||
      statx(AT_FDCWD, native.c_str(), AT_NO_AUTOMOUNT, STATX_MNT_ID, &status) != 0) {
    return std::nullopt;
  }
  const CkxMediaTree tree;
  // The mount is asked first: some file systems tell a number of their own in place of their device's.
  if ((status.stx_mask & STATX_MNT_ID) != 0) return tree.DeviceOfMount(status.stx_mnt_id);
  return status.stx_dev_major != 0 ? tree.DeviceOfNumber(status.stx_dev_major, status.stx_dev_minor) : std::nullopt;
}
