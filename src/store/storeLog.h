// The store's lines in the platform log: error priority, tag "database".
#pragma once

#include "platformLog.h"

namespace brairu {

inline constexpr char kStoreLogTag[] = "database";

inline void logStore(const char* text) {
    __android_log_print(ANDROID_LOG_ERROR, kStoreLogTag, "%s", text);
}

}  // namespace brairu
