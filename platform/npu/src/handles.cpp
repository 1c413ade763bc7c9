#include "handles.h"

namespace brairu::npu {

Handles& Handles::all() {
    // Never destroyed: a host's own static objects may release their handles after ours are gone.
    static auto* const handles = new Handles;
    return *handles;
}

std::size_t Handles::live() const {
    return contexts.size() + models.size() + memories.size() + tensorMemories.size() +
           tensors.size() + graphs.size();
}

void Handles::releaseOwnedBy(vx_context context) {
    graphs.removeOwnedBy(context);
    tensors.removeOwnedBy(context);
    tensorMemories.removeOwnedBy(context);
    memories.removeOwnedBy(context);
}

}  // namespace brairu::npu
