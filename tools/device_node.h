// The driver node, where the library's status does not tell enough.
#ifndef ORVA_TOOLS_DEVICE_NODE_H
#define ORVA_TOOLS_DEVICE_NODE_H

#include <string>

namespace tools {

// After FP_ERR_NO_DEVICE: the system error number of looking for the node and opening it once more;
// 0 when that now works.
int why_node_does_not_open();

std::string describe_node_error(int error);

}  // namespace tools

#endif
