/* Frames of grey for the example: from a camera, or from a folder of pictures. */
#ifndef DOOR_FRAMES_H
#define DOOR_FRAMES_H

#include <stdint.h>

typedef struct Source Source;

typedef struct Frame {
    uint8_t* luma; /* width x height bytes, rows packed */
    uint32_t width, height;
} Frame;

/* path: a camera below /dev, or a folder whose *.pgm are taken by their names. NULL after a fault,
 * which was reported on standard error. */
Source* openSource(const char* path);
void closeSource(Source* source);

/* 1 and a frame, whose luma the caller frees; 0 at the end, or when a signal cut the wait short; -1
 * after a fault, which was reported. */
int nextFrame(Source* source, Frame* frame);

#endif
