#pragma once

#include <cstddef>

#include "deviceMemory.h"
#include "graph.h"
#include "handleTable.h"
#include "loadedModel.h"
#include "npu.h"
#include "tensor.h"

namespace brairu::npu {

struct Context {};

template <class Handle, class Object>
using ContextHandles = HandleTable<Handle, Object, vx_context>;

/// Every live object that the caller holds a handle of.
struct Handles {
    ContextHandles<vx_context, Context> contexts;
    ContextHandles<NetModel, LoadedModel> models;
    ContextHandles<vx_device_memory, DeviceMemory> memories;
    ContextHandles<NetTensorMemory, DeviceMemory> tensorMemories;
    ContextHandles<vx_tensor, Tensor> tensors;
    ContextHandles<vx_graph, Graph> graphs;

    static Handles& all();

    /// Handles of any kind that were given out and not yet released.
    std::size_t live() const;
    void releaseOwnedBy(vx_context context);
};

}  // namespace brairu::npu
