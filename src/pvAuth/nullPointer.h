// What the enrolment and recognition calls do with a null pointer.
#pragma once

#include "platformLog.h"

namespace brairu {

// Logs one line that names the call. Returns 0, the call's result.
inline int refuseNullPointer(const char* call) {
    __android_log_print(ANDROID_LOG_ERROR, "pva", "%s: null pointer\r\n", call);
    return 0;
}

}  // namespace brairu
