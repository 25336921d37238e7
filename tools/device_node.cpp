#include "tools/device_node.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "api/driver_channel.h"

namespace tools {

int why_node_does_not_open() {
  struct stat found {};
  if (stat(orva::kDriverNode, &found) != 0) return errno;
  const int handle = open(orva::kDriverNode, O_RDWR);
  if (handle == -1) return errno;
  close(handle);
  return 0;
}

std::string describe_node_error(int error) {
  return std::string(orva::kDriverNode) + ": " + strerror(error);
}

}  // namespace tools
