/* The neural-network operations that libbrairu asks of the board.
 *
 * This header is the whole contract between the library and the NPU stack: the library
 * includes nothing else of it, and its calls stay undefined symbols until a board's
 * libraries, the stand-in beside this header, or a test program define them.
 *
 * Conventions
 *  1. C linkage. Handles are opaque; a null handle never stands for a live object.
 *  2. A status of 0 (VX_SUCCESS) means success; every other value is a failure. No
 *     operation throws and none ends the process.
 *  3. An operation that takes a null or foreign handle fails: it returns VX_FAILURE, or a null
 *     handle, or address 0, and touches nothing.
 *  4. Lists that an operation fills are owned by the stack. Input records live until their model is
 *     unloaded and every graph made from it is released; output lists live until the next
 *     GetNetOutputBlobsTensor or vxReleaseGraph of the same graph.
 *  5. One thread at a time per context, and per model.
 *  6. Releasing a context releases what was made in it; a release through a pointer sets the
 *     caller's handle to null, and fails for a handle that was released before.
 */
#ifndef BRAIRU_NPU_H
#define BRAIRU_NPU_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t vx_status;

enum { VX_SUCCESS = 0, VX_FAILURE = -1 };

typedef struct NpuContext *vx_context;
typedef struct NpuGraph *vx_graph;
typedef struct NpuTensor *vx_tensor;
typedef struct NpuNetModel *NetModel;
typedef struct NpuDeviceMemory *vx_device_memory;
typedef struct NpuTensorMemory *NetTensorMemory;

/* Attributes of vxQueryTensor. */
enum {
    VX_TENSOR_DIMS = 0x81501, /* four uint32_t: width, height, channels, batch (unused: 1) */
    VX_TENSOR_DATA_ADDRESS = 0xD81509, /* CPU address of the data, one pointer wide */
    VX_TENSOR_DATA_BYTES = 0xD8150B   /* byte size of the data, one uint32_t */
};

enum { NET_BLOB_NAME_BYTES = 64 };

/* One input of a network. dims: width, height, channels of its single image. The caller sets
 * tensor before it binds the record. */
typedef struct NetInputBlob {
    char name[NET_BLOB_NAME_BYTES];
    uint32_t dims[3];
    vx_tensor tensor;
} NetInputBlob;

/* One output of a network, by name (zero-terminated, cut to the field). */
typedef struct NetOutputBlob {
    char name[NET_BLOB_NAME_BYTES];
} NetOutputBlob;

typedef struct NetInputBlobList {
    NetInputBlob *records;
    uint32_t count;
} NetInputBlobList;

typedef struct NetOutputBlobList {
    NetOutputBlob *records;
    uint32_t count;
} NetOutputBlobList;

typedef struct NetTensorList {
    vx_tensor *tensors;
    uint32_t count;
} NetTensorList;

/* Image formats of NpuImageDescriptor. */
enum { NPU_FORMAT_YUV420_TWO_PLANE = 2 };

/* A frame in device memory: a plane of Y, and a plane of interleaved U and V at half resolution
 * (odd sides rounded down). */
typedef struct NpuImageDescriptor {
    int32_t width;
    int32_t height;
    int32_t strideY;  /* bytes from one row of Y to the next */
    int32_t strideUV; /* bytes from one row of chroma to the next */
    int32_t format;   /* NPU_FORMAT_YUV420_TWO_PLANE */
    uint32_t physicalY;
    uint32_t physicalUV;
    uint32_t reserved0; /* 0 */
    uint32_t reserved1; /* 0 */
    int32_t outputWidth;
    int32_t outputHeight;
} NpuImageDescriptor;

/* Models. A model is made from one deciphered file and copied: the caller may free the buffer at
 * once. *flag is 1. Returns VX_FAILURE and a null handle for a null or empty buffer. */
vx_status LoadNetModelFromMem(const void *buffer, uint32_t bytes, uint32_t *flag, NetModel *model);
vx_status UnLoadNetModel(NetModel model);

/* The input records of the network that a description describes. An unreadable description has
 * none: VX_FAILURE and a count of 0. */
vx_status GetNetInputBlobs(NetModel netModel, NetInputBlobList *inputs);

vx_context vxCreateContext(void);
vx_status vxGetStatus(vx_context context);
vx_status vxLoadKernels(vx_context context, const char *name); /* "openvx-nn" */
vx_status vxFinish(vx_context context);
vx_status vxReleaseContext(vx_context *context);

/* Device memory. Physical addresses are 32-bit numbers that the image converter resolves. */
vx_device_memory vxAllocateDeviceMemory(vx_context context, uint32_t bytes);
uint32_t vxGetDeviceMemoryPhysicalAddress(vx_device_memory memory);
void *vxGetDeviceMemoryVirtualAddress(vx_device_memory memory);
vx_status vxFlushDeviceMemoryCache(vx_context context, void *address, uint32_t bytes);
vx_status vxFreeDeviceMemory(vx_context context, void *memory); /* device memory or tensor memory */

/* Tensors. dims: width, height, channels; bytesPerElement is 1. The tensor refers to the memory and
 * does not own it. */
NetTensorMemory AllocateTensorDeviceMemory(vx_context context, const uint32_t dims[3],
                                           uint32_t bytesPerElement);
vx_tensor CreateTensorFromHandle(vx_context context, const uint32_t dims[3],
                                 uint32_t bytesPerElement, NetTensorMemory memory);
vx_status vxQueryTensor(vx_tensor tensor, int32_t attribute, void *value, size_t bytes);
vx_status vxReleaseTensor(vx_tensor *tensor);

/* Graphs. The graph keeps what it needs of both models. A pair that does not belong together yields
 * a graph that vxVerifyGraph refuses. */
vx_graph CreateNetGraph(vx_context context, NetModel netModel, NetModel blobsModel,
                        int32_t maxLayers, int32_t device); /* 0x7fffffff, -1: all, any */
vx_status vxVerifyGraph(vx_graph graph);
vx_status vxReleaseGraph(vx_graph *graph);

/* One run: convert the frame into the input tensor, bind it, execute, fetch the outputs. The caller
 * releases each output tensor once. */
vx_status ImageConvertDeviceProcess(vx_context context, const NpuImageDescriptor *image,
                                    vx_tensor output, int32_t strideUV);
vx_status SetNetInputBlobsTensor(vx_graph graph, const NetInputBlobList *inputs, vx_tensor tensor,
                                 NetInputBlob *input);
vx_status vxProcessGraph(vx_graph graph);
vx_status GetNetOutputBlobsTensor(vx_graph graph, NetOutputBlobList *outputs,
                                  NetTensorList *tensors);

#ifdef __cplusplus
}
#endif

#endif
