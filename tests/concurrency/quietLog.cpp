// A double of the board's log call that forgets. The one that remembers would need a lock of its
// own, behind which a race could hide.
#include "platformLog.h"

int __android_log_print(int, const char*, const char*, ...) {
    return 1;
}
