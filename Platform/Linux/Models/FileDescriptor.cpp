#include "PlatformModels/FileDescriptor.h"

#include <unistd.h>

namespace nimbe {

FileDescriptor::~FileDescriptor() {
    if (descriptor >= 0) ::close(descriptor);
}

} // namespace nimbe
