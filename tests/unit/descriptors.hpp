// What the descriptors of the test's own process are.
#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <memory>
#include <string>

inline bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

/// How many descriptors the process has open.
inline int openDescriptors() {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir("/proc/self/fd"), ::closedir);
    int count = -1;  // the one that reads the list
    while (const dirent* entry = ::readdir(entries.get())) {
        count += entry->d_name[0] != '.' ? 1 : 0;
    }
    return count;
}
