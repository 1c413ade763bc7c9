#define _POSIX_C_SOURCE 200809L
#include "frames.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

enum { WIDTH = 640, HEIGHT = 480, BUFFERS = 4, LARGEST_SIDE = 4096 };

struct Source {
    int camera; /* descriptor, or -1 for a folder */
    uint8_t* buffers[BUFFERS];
    size_t bufferBytes[BUFFERS];
    uint32_t bytesPerLine, bytesPerPixel;
    const char* folder;
    struct dirent** names;
    int count, next;
};

static int fault(const char* what) {
    fprintf(stderr, "door: %s: %s\n", what, strerror(errno));
    return -1;
}

/* Luma comes first in a byte pair of YUYV, and alone in GREY. */
static int setFormat(Source* source) {
    const uint32_t formats[] = {V4L2_PIX_FMT_GREY, V4L2_PIX_FMT_YUYV};
    for (uint32_t i = 0; i < 2; i++) {
        struct v4l2_format wanted = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE};
        wanted.fmt.pix.width = WIDTH;
        wanted.fmt.pix.height = HEIGHT;
        wanted.fmt.pix.pixelformat = formats[i];
        if (ioctl(source->camera, VIDIOC_S_FMT, &wanted) != 0)
            return fault("VIDIOC_S_FMT");
        source->bytesPerPixel = i + 1;
        source->bytesPerLine = wanted.fmt.pix.bytesperline;
        if (wanted.fmt.pix.pixelformat == formats[i] && wanted.fmt.pix.width == WIDTH &&
            wanted.fmt.pix.height == HEIGHT && source->bytesPerLine >= WIDTH * (i + 1))
            return 0;
    }
    errno = ENOTSUP;
    return fault("the camera has neither grey nor YUYV of 640 x 480");
}

static int openCamera(Source* source) {
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    struct v4l2_requestbuffers request = {
        .count = BUFFERS, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    if (setFormat(source) != 0)
        return -1;
    if (ioctl(source->camera, VIDIOC_REQBUFS, &request) != 0)
        return fault("VIDIOC_REQBUFS");
    for (uint32_t i = 0; i < request.count && i < BUFFERS; i++) {
        struct v4l2_buffer buffer = {.index = i, .type = request.type, .memory = request.memory};
        if (ioctl(source->camera, VIDIOC_QUERYBUF, &buffer) != 0)
            return fault("VIDIOC_QUERYBUF");
        errno = ENOBUFS;
        if (buffer.length < source->bytesPerLine * HEIGHT)
            return fault("camera buffer");
        void* memory = mmap(NULL, buffer.length, PROT_READ, MAP_SHARED, source->camera,
                            (off_t)buffer.m.offset);
        if (memory == MAP_FAILED)
            return fault("mmap");
        source->buffers[i] = memory;
        source->bufferBytes[i] = buffer.length;
        if (ioctl(source->camera, VIDIOC_QBUF, &buffer) != 0)
            return fault("VIDIOC_QBUF");
    }
    return ioctl(source->camera, VIDIOC_STREAMON, &type) == 0 ? 0 : fault("VIDIOC_STREAMON");
}

static int isPicture(const struct dirent* entry) {
    const size_t length = strlen(entry->d_name);
    return length > 4 && strcmp(entry->d_name + length - 4, ".pgm") == 0;
}

static int openFolder(Source* source) {
    source->count = scandir(source->folder, &source->names, isPicture, alphasort);
    return source->count >= 0 ? 0 : fault(source->folder);
}

Source* openSource(const char* path) {
    Source* source = calloc(1, sizeof *source);
    if (source == NULL)
        return fault(path), NULL;
    const int isCamera = strncmp(path, "/dev/", 5) == 0;
    source->folder = path;
    source->camera = isCamera ? open(path, O_RDWR) : -1;
    if (isCamera && source->camera < 0) {
        fault(path);
    } else if ((isCamera ? openCamera(source) : openFolder(source)) == 0) {
        return source;
    }
    closeSource(source);
    return NULL;
}

void closeSource(Source* source) {
    for (int i = 0; i < BUFFERS; i++) {
        if (source->buffers[i] != NULL)
            munmap(source->buffers[i], source->bufferBytes[i]);
    }
    if (source->camera >= 0)
        close(source->camera);
    for (int i = 0; i < source->count; i++)
        free(source->names[i]);
    free(source->names);
    free(source);
}

static int copyLuma(const Source* source, const uint8_t* pixels, Frame* frame) {
    frame->width = WIDTH;
    frame->height = HEIGHT;
    frame->luma = malloc(WIDTH * HEIGHT);
    if (frame->luma == NULL)
        return fault("frame");
    for (size_t y = 0; y < HEIGHT; y++) {
        for (size_t x = 0; x < WIDTH; x++) {
            frame->luma[y * WIDTH + x] =
                pixels[y * source->bytesPerLine + x * source->bytesPerPixel];
        }
    }
    return 1;
}

static int takeFromCamera(Source* source, Frame* frame) {
    struct v4l2_buffer buffer = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    if (ioctl(source->camera, VIDIOC_DQBUF, &buffer) != 0) {
        return errno == EINTR ? 0 : fault("VIDIOC_DQBUF");
    }
    if (copyLuma(source, source->buffers[buffer.index], frame) != 1)
        return -1;
    if (ioctl(source->camera, VIDIOC_QBUF, &buffer) == 0)
        return 1;
    free(frame->luma);
    return fault("VIDIOC_QBUF");
}

/* The pixels that follow the header, or NULL. */
static uint8_t* readPixels(FILE* file, const Frame* frame) {
    const size_t bytes = (size_t)frame->width * frame->height;
    uint8_t* pixels = malloc(bytes);
    if (pixels != NULL && fread(pixels, 1, bytes, file) == bytes)
        return pixels;
    free(pixels);
    return NULL;
}

/* Up to the blank before the pixels, which are bytes if the greatest is 255. */
static int readHeader(FILE* file, Frame* frame) {
    uint32_t greatest = 0;
    return fscanf(file, "P5 %u %u %u", &frame->width, &frame->height, &greatest) == 3 &&
           greatest == 255 && fgetc(file) != EOF;
}

static int readPicture(const char* path, Frame* frame) {
    FILE* file = fopen(path, "rb");
    if (file == NULL)
        return fault(path);
    frame->luma = NULL;
    const int hasHeader = readHeader(file, frame);
    if (hasHeader && frame->width - 1 < LARGEST_SIDE && frame->height - 1 < LARGEST_SIDE)
        frame->luma = readPixels(file, frame);
    fclose(file);
    if (!hasHeader) {
        fprintf(stderr, "door: %s: no PGM with a maximum value of 255\n", path);
        return -1;
    }
    errno = EINVAL;
    return frame->luma != NULL ? 1 : fault(path);
}

int nextFrame(Source* source, Frame* frame) {
    char path[4096];
    if (source->camera >= 0)
        return takeFromCamera(source, frame);
    if (source->next == source->count)
        return 0;
    snprintf(path, sizeof path, "%s/%s", source->folder, source->names[source->next++]->d_name);
    return readPicture(path, frame);
}
