// Standing between all code of a test program and the libraries that it calls.
#pragma once

#include <dlfcn.h>

// A definition in the place of a library's function of that name.
#define BRAIRU_INTERPOSED extern "C" __attribute__((visibility("default")))

namespace brairu::test {

// The function that a definition hides.
template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}
template <class Function>
Function* next(Function*, const char* name) {
    return next<Function>(name);
}

}  // namespace brairu::test
