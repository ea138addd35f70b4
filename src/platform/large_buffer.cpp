#include "platform/large_buffer.h"

#include <sys/mman.h>

namespace slidebox::platform {

void* mapLargeBuffer(std::size_t bytes) {
    void* data = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (data == MAP_FAILED)
        return nullptr;
    // Only advice: where the system keeps no large pages, small ones serve.
    ::madvise(data, bytes, MADV_HUGEPAGE);
    return data;
}

void unmapLargeBuffer(void* data, std::size_t bytes) {
    ::munmap(data, bytes);
}

} // namespace slidebox::platform
