#include "platform/fopen_access.h"

#include <fcntl.h>

namespace platform {

int AccessOfReadWritePlus() { return O_RDONLY; }

}  // namespace platform
