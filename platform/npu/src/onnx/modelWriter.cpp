#include "onnx/modelWriter.h"

#include "onnx/wire.h"

namespace brairu::npu {

namespace {

std::uint64_t code(ElementType type) {
    return static_cast<std::uint64_t>(type);
}

std::string tensorMessage(const ConstantTensor& tensor) {
    WireWriter writer;
    writer.ints(1, tensor.dims);
    writer.varint(2, code(tensor.type));
    writer.bytes(8, tensor.name);
    writer.bytes(9, tensor.data);
    return writer.take();
}

std::string attributeMessage(const Attribute& attribute) {
    WireWriter writer;
    writer.bytes(1, attribute.name);
    switch (attribute.type) {
        case AttributeType::kFloat: writer.real(2, attribute.real); break;
        case AttributeType::kInt:
            writer.varint(3, static_cast<std::uint64_t>(attribute.integer));
            break;
        case AttributeType::kString: writer.bytes(4, attribute.text); break;
        case AttributeType::kTensor: writer.bytes(5, tensorMessage(attribute.tensor)); break;
        case AttributeType::kFloats:
            for (const float real : attribute.reals)
                writer.real(7, real);
            break;
        case AttributeType::kInts: writer.ints(8, attribute.integers); break;
    }
    writer.varint(20, static_cast<std::uint64_t>(attribute.type));
    return writer.take();
}

std::string nodeMessage(const Node& node) {
    WireWriter writer;
    for (const std::string_view input : node.inputs)
        writer.bytes(1, input);
    for (const std::string_view output : node.outputs)
        writer.bytes(2, output);
    writer.bytes(4, node.op);
    for (const Attribute& attribute : node.attributes) {
        writer.bytes(5, attributeMessage(attribute));
    }
    return writer.take();
}

std::string shapeMessage(const Dims& dims) {
    WireWriter shape;
    for (const std::int64_t dim : dims) {
        WireWriter dimension;
        dimension.varint(1, static_cast<std::uint64_t>(dim));
        shape.bytes(1, dimension.message());
    }
    return shape.take();
}

std::string valueMessage(const ValueInfo& value) {
    WireWriter tensorType;
    tensorType.varint(1, code(value.type));
    tensorType.bytes(2, shapeMessage(value.dims));
    WireWriter type;
    type.bytes(1, tensorType.message());
    WireWriter writer;
    writer.bytes(1, value.name);
    writer.bytes(2, type.message());
    return writer.take();
}

std::string graphMessage(const Model& model) {
    WireWriter writer;
    for (const Node& node : model.nodes)
        writer.bytes(1, nodeMessage(node));
    for (const ConstantTensor& constant : model.constants) {
        writer.bytes(5, tensorMessage(constant));
    }
    for (const ValueInfo& input : model.inputs)
        writer.bytes(11, valueMessage(input));
    for (const ValueInfo& output : model.outputs)
        writer.bytes(12, valueMessage(output));
    return writer.take();
}

}  // namespace

std::string writeModel(const Model& model) {
    WireWriter opset;
    opset.varint(2, static_cast<std::uint64_t>(model.opsets.at(0)));
    WireWriter writer;
    writer.varint(1, static_cast<std::uint64_t>(model.irVersion));
    writer.bytes(7, graphMessage(model));
    writer.bytes(8, opset.message());
    return writer.take();
}

}  // namespace brairu::npu
