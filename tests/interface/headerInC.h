/* What the C side of the interface tests does for the C++ side. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void fillHandPoseInC(void* record);
void fillAuthResultInC(void* record);

/* The calls of the header; returns how many there are. */
size_t addressesOfCallsInC(void (**calls)(void), size_t capacity);

/* Calls that need no engine. */
uint32_t stopInC(void);
int clearRegisterBufferInC(void);

#ifdef __cplusplus
}
#endif
