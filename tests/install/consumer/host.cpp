// SPDX-License-Identifier: MIT

#include <dlfcn.h>

#include <cstdio>

int main(int, char** arguments) {
    void* const plugIn = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (plugIn == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const auto count = reinterpret_cast<int (*)()>(dlsym(plugIn, "CountItems"));
    std::printf("%d items\n", count());
}
