#include "onnx/weights.h"

#include <string>

#include "onnx/refusal.h"
#include "onnx/seal.h"

namespace brairu::npu {

namespace {

constexpr std::int64_t kBlobsBytesMax = std::int64_t{256} << 20;

std::int64_t bytesPerElement(ElementType type) {
    switch (type) {
        case ElementType::kFloat: return 4;
        case ElementType::kInt64: return 8;
        case ElementType::kUint8:
        case ElementType::kInt8: return 1;
    }
    return 1;
}

std::string_view bytesOf(const WeightRange& range, std::string_view blobs) {
    require(range.offset <= blobs.size() && range.length <= blobs.size() - range.offset,
            "a tensor lies outside the weights");
    return blobs.substr(static_cast<std::size_t>(range.offset),
                        static_cast<std::size_t>(range.length));
}

void checkDigest(const Model& model, std::string_view blobs) {
    const auto digest = model.metadata.find("blobs_sha256");
    require(digest != model.metadata.end(), "the description names no digest of its weights");
    require(digest->second == sha256Hex(blobs), "the weights are damaged or of another network");
}

void attach(ConstantTensor& constant, std::string_view blobs) {
    if (constant.external)
        constant.data = bytesOf(constant.range, blobs);
    const std::int64_t bytes =
        elementCount(constant.dims, kBlobsBytesMax) * bytesPerElement(constant.type);
    require(static_cast<std::uint64_t>(bytes) == constant.data.size(),
            "the size of tensor " + std::string(constant.name) + " does not match its dimensions");
}

}  // namespace

std::int64_t elementCount(const Dims& dims, std::int64_t limit) {
    std::int64_t count = 1;
    for (const std::int64_t dim : dims) {
        require(dim >= 0 && dim <= limit, "a tensor has an impossible dimension");
        require(dim == 0 || count <= limit / dim, "a tensor is too large");
        count *= dim;
    }
    return count;
}

void attachWeights(Model& model, std::string_view blobs) {
    require(blobs.size() <= static_cast<std::size_t>(kBlobsBytesMax), "the weights are too large");
    checkDigest(model, blobs);
    std::uint64_t total = 0;
    for (ConstantTensor& constant : model.constants) {
        attach(constant, blobs);
        total += constant.data.size();  // ranges may overlap: their sum is what gets merged
        require(total <= static_cast<std::uint64_t>(kBlobsBytesMax), "the tensors are too large");
    }
}

}  // namespace brairu::npu
