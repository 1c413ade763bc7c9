/* A camera: /dev/double delivers the pictures of the folder CAMERA_PICTURES, as YUYV or grey,
 * whichever CAMERA_FORMAT names, in rows that are longer than their pixels. After the last picture
 * it is unplugged. Opened without blocking, it has CAMERA_BURST pictures at a time, one unless told
 * otherwise. CAMERA_FAULT makes it a camera that is "forbidden", "busy", "silent" or
 * "without pictures". Linked with --wrap for open and ioctl, or preloaded with cameraPreload.c. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frames.h"

int __real_open(const char* path, int flags, ...);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __wrap_open(const char* path, int flags, ...);
int __wrap_ioctl(int descriptor, unsigned long request, ...);

enum { SLOTS = 4, SLOT_BYTES = 1 << 20, PADDING = 32 };

static int device = -1;
static int streaming;
static int isBlocking, delivered; /* of a burst */
static int queue[SLOTS]; /* indexes, the next first */
static int queued;
static uint32_t format, bytesPerLine, sizeImage, width, height;
static Source* pictures;

static int refuse(int reason) {
    errno = reason;
    return -1;
}

static int hasFault(const char* name) {
    const char* fault = getenv("CAMERA_FAULT");
    return fault != NULL && strcmp(fault, name) == 0;
}

static int burst(void) {
    const char* size = getenv("CAMERA_BURST");
    return size == NULL ? 1 : atoi(size);
}

static int describeDevice(struct v4l2_capability* capability) {
    memset(capability, 0, sizeof *capability);
    strcpy((char*)capability->driver, "double");
    strcpy((char*)capability->card, "double");
    capability->device_caps = V4L2_CAP_STREAMING;
    capability->device_caps |=
        hasFault("without pictures") ? V4L2_CAP_META_CAPTURE : V4L2_CAP_VIDEO_CAPTURE;
    capability->capabilities = capability->device_caps | V4L2_CAP_DEVICE_CAPS;
    return 0;
}

static int listFormat(struct v4l2_fmtdesc* description) {
    if (description->index > 0)
        return refuse(EINVAL);
    description->pixelformat = format;
    return 0;
}

static int getFormat(struct v4l2_format* current) {
    current->fmt.pix.width = width;
    current->fmt.pix.height = height;
    current->fmt.pix.pixelformat = format;
    current->fmt.pix.bytesperline = bytesPerLine;
    current->fmt.pix.sizeimage = sizeImage;
    return 0;
}

static int tryFormat(struct v4l2_format* wanted) {
    struct v4l2_pix_format* pixels = &wanted->fmt.pix;
    pixels->pixelformat = format;
    pixels->bytesperline = pixels->width * (format == V4L2_PIX_FMT_YUYV ? 2 : 1) + PADDING;
    pixels->sizeimage = pixels->bytesperline * pixels->height;
    return 0;
}

static int setFormat(struct v4l2_format* wanted) {
    if (hasFault("busy"))
        return refuse(EBUSY);
    tryFormat(wanted);
    width = wanted->fmt.pix.width;
    height = wanted->fmt.pix.height;
    bytesPerLine = wanted->fmt.pix.bytesperline;
    sizeImage = wanted->fmt.pix.sizeimage;
    return 0;
}

static int describe(struct v4l2_buffer* buffer) {
    if (buffer->index >= SLOTS)
        return refuse(EINVAL);
    buffer->length = SLOT_BYTES;
    buffer->m.offset = buffer->index * SLOT_BYTES;
    return 0;
}

static int enqueue(const struct v4l2_buffer* buffer) {
    for (int i = 0; i < queued; i++) {
        if (queue[i] == (int)buffer->index)
            return refuse(EINVAL);
    }
    queue[queued++] = (int)buffer->index;
    return 0;
}

static void fill(uint8_t* slot, const Frame* frame) {
    const uint32_t step = format == V4L2_PIX_FMT_YUYV ? 2 : 1;
    memset(slot, 0xff, (size_t)bytesPerLine * frame->height);
    for (uint32_t y = 0; y < frame->height; y++) {
        for (uint32_t x = 0; x < frame->width; x++) {
            slot[y * bytesPerLine + x * step] = frame->luma[y * frame->width + x];
        }
    }
}

static int dequeue(struct v4l2_buffer* buffer) {
    static uint8_t slot[SLOT_BYTES];
    Frame frame = {0};
    if (!streaming || queued == 0)
        return refuse(EINVAL);
    if (!isBlocking && (delivered == burst() || hasFault("silent"))) {
        delivered = 0;
        return refuse(EAGAIN);
    }
    delivered++;
    if (nextFrame(pictures, &frame) != 1)
        return refuse(ENODEV);
    fill(slot, &frame);
    free(frame.luma);
    buffer->index = (uint32_t)queue[0];
    buffer->bytesused = bytesPerLine * frame.height;
    memmove(queue, queue + 1, sizeof queue - sizeof queue[0]);
    queued--;
    const off_t offset = (off_t)buffer->index * SLOT_BYTES;
    return pwrite(device, slot, SLOT_BYTES, offset) == SLOT_BYTES ? 0 : refuse(EIO);
}

int __wrap_open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    if (strcmp(path, "/dev/double") != 0)
        return __real_open(path, flags, mode);
    if (hasFault("forbidden"))
        return refuse(EACCES);
    format = strcmp(getenv("CAMERA_FORMAT"), "YUYV") == 0 ? V4L2_PIX_FMT_YUYV : V4L2_PIX_FMT_GREY;
    isBlocking = (flags & O_NONBLOCK) == 0;
    device = memfd_create("camera", 0);
    pictures = openSource(getenv("CAMERA_PICTURES"));
    return ftruncate(device, (off_t)SLOTS * SLOT_BYTES) == 0 && pictures != NULL ? device
                                                                                 : refuse(EIO);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list rest;
    va_start(rest, request);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    if (descriptor != device)
        return __real_ioctl(descriptor, request, argument);
    switch (request) {
        case VIDIOC_QUERYCAP: return describeDevice(argument);
        case VIDIOC_ENUM_FMT: return listFormat(argument);
        case VIDIOC_G_FMT: return getFormat(argument);
        case VIDIOC_TRY_FMT: return tryFormat(argument);
        case VIDIOC_S_FMT: return setFormat(argument);
        case VIDIOC_REQBUFS: return 0;
        case VIDIOC_QUERYBUF: return describe(argument);
        case VIDIOC_QBUF: return enqueue(argument);
        case VIDIOC_DQBUF: return dequeue(argument);
        case VIDIOC_STREAMON: streaming = 1; return 0;
        case VIDIOC_STREAMOFF: streaming = queued = 0; return 0;
        default: return refuse(ENOTTY);
    }
}
