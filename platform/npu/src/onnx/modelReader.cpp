#include "onnx/modelReader.h"

#include <charconv>
#include <string>
#include <utility>

#include "onnx/refusal.h"
#include "onnx/seal.h"
#include "onnx/wire.h"

namespace brairu::npu {

namespace {

constexpr std::size_t kNetBytesMax = std::size_t{16} << 20;
constexpr std::size_t kNodesMax = 4096;
constexpr std::size_t kConstantsMax = 8192;
constexpr std::size_t kNameBytesMax = 255;
constexpr std::size_t kRankMax = 6;
constexpr std::int64_t kInputSideMax = 2048;
constexpr std::int64_t kOpset = 11;
constexpr std::uint64_t kExternalLocation = 1;

std::string_view nameOf(const WireField& field) {
    const std::string_view name = field.asBytes();
    require(name.size() <= kNameBytesMax && name.find('\0') == std::string_view::npos,
            "a name is too long or holds a zero byte");
    return name;
}

ElementType elementTypeOf(std::uint64_t code) {
    require(code == 1 || code == 2 || code == 3 || code == 7,
            "a tensor has an unsupported element type");
    return static_cast<ElementType>(code);
}

std::uint64_t decimal(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    require(error == std::errc() && end == text.data() + text.size(),
            "an external tensor's offset or length is no number");
    return value;
}

std::pair<std::string_view, std::string_view> readEntry(std::string_view message) {
    std::pair<std::string_view, std::string_view> entry;
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        if (field.number == 1)
            entry.first = field.asBytes();
        if (field.number == 2)
            entry.second = field.asBytes();
    }
    return entry;
}

class ConstantReader {
public:
    static ConstantTensor read(std::string_view message) {
        ConstantReader reader;
        WireReader fields(message);
        for (WireField field; fields.next(field);)
            reader.take(field);
        reader.finish();
        return std::move(reader.tensor_);
    }

private:
    void take(const WireField& field) {
        switch (field.number) {
            case 1: field.appendTo(tensor_.dims); break;
            case 2: tensor_.type = elementTypeOf(field.asVarint()); break;
            case 8: tensor_.name = nameOf(field); break;
            case 9: takeRawData(field); break;
            case 12: break;  // documentation
            case 13: takeExternalEntry(readEntry(field.asBytes())); break;
            case 14: takeLocation(field.asVarint()); break;
            default: throw Refusal("a tensor keeps its values in an unsupported form");
        }
    }

    void takeRawData(const WireField& field) {
        tensor_.data = field.asBytes();
        hasRawData_ = true;
    }

    void takeLocation(std::uint64_t location) {
        require(location <= kExternalLocation, "a tensor has an unknown data location");
        tensor_.external = location == kExternalLocation;
    }

    void takeExternalEntry(const std::pair<std::string_view, std::string_view>& entry) {
        const auto& [key, value] = entry;
        if (key == "location") {
            require(value == "blobs", "an external tensor lies in an unknown file");
        } else if (key == "offset") {
            tensor_.range.offset = decimal(value);
        } else if (key == "length") {
            tensor_.range.length = decimal(value);
        } else {
            throw Refusal("an external tensor has an unknown property");
        }
        ++externalEntries_;
    }

    void finish() const {
        require(tensor_.dims.size() <= kRankMax, "a tensor has too many dimensions");
        require(tensor_.external ? externalEntries_ == 3 && !hasRawData_ : externalEntries_ == 0,
                "a tensor's data location is inconsistent");
    }

    ConstantTensor tensor_;
    int externalEntries_ = 0;
    bool hasRawData_ = false;
};

AttributeType attributeTypeOf(std::uint64_t code) {
    require(code == 1 || code == 2 || code == 3 || code == 4 || code == 6 || code == 7,
            "an attribute has an unsupported type");
    return static_cast<AttributeType>(code);
}

Attribute readAttribute(std::string_view message) {
    Attribute attribute;
    bool typed = false;
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        switch (field.number) {
            case 1: attribute.name = nameOf(field); break;
            case 2: attribute.real = field.asFloat(); break;
            case 3: attribute.integer = field.asInt(); break;
            case 4: attribute.text = field.asBytes(); break;
            case 5: attribute.tensor = ConstantReader::read(field.asBytes()); break;
            case 7: field.appendTo(attribute.reals); break;
            case 8: field.appendTo(attribute.integers); break;
            case 13: break;  // documentation
            case 20:
                attribute.type = attributeTypeOf(field.asVarint());
                typed = true;
                break;
            default: throw Refusal("an attribute holds an unsupported value");
        }
    }
    require(typed, "an attribute has no type");
    return attribute;
}

Node readNode(std::string_view message) {
    Node node;
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        switch (field.number) {
            case 1: node.inputs.push_back(nameOf(field)); break;
            case 2: node.outputs.push_back(nameOf(field)); break;
            case 3: break;  // the node's own name: nothing refers to it
            case 4: node.op = nameOf(field); break;
            case 5: node.attributes.push_back(readAttribute(field.asBytes())); break;
            case 6: break;  // documentation
            case 7: require(field.asBytes().empty(), "a node is of a foreign domain"); break;
            default: throw Refusal("a node holds an unsupported field");
        }
    }
    return node;
}

std::int64_t readDimension(std::string_view message) {
    std::int64_t value = 0;
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        require(field.number == 1, "a declared dimension is not a fixed number");
        value = field.asInt();
    }
    require(value > 0, "a declared dimension is not positive");
    return value;
}

Dims readShape(std::string_view message) {
    Dims dims;
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        require(field.number == 1, "a declared shape is malformed");
        dims.push_back(readDimension(field.asBytes()));
    }
    return dims;
}

void readTensorType(std::string_view message, ValueInfo& value) {
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        if (field.number == 1)
            value.type = elementTypeOf(field.asVarint());
        if (field.number == 2)
            value.dims = readShape(field.asBytes());
    }
}

void readType(std::string_view message, ValueInfo& value) {
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        if (field.number == 1)
            readTensorType(field.asBytes(), value);
    }
}

ValueInfo readValueInfo(std::string_view message) {
    ValueInfo value;
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        if (field.number == 1)
            value.name = nameOf(field);
        if (field.number == 2)
            readType(field.asBytes(), value);
    }
    return value;
}

ConstantTensor constantOfNode(Node& node) {
    require(node.outputs.size() == 1 && node.inputs.empty() && node.attributes.size() == 1 &&
                node.attributes[0].type == AttributeType::kTensor &&
                node.attributes[0].name == "value",
            "a Constant node has no single tensor value");
    ConstantTensor constant = std::move(node.attributes[0].tensor);
    constant.name = node.outputs[0];
    return constant;
}

void takeNode(Node node, Model& model) {
    if (node.op == "Constant") {
        model.constants.push_back(constantOfNode(node));
    } else {
        model.nodes.push_back(std::move(node));
    }
}

void readGraph(std::string_view message, Model& model) {
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        switch (field.number) {
            case 1: takeNode(readNode(field.asBytes()), model); break;
            case 2:
            case 10:
            case 13: break;  // name, documentation, shapes of inner values: computed here
            case 5: model.constants.push_back(ConstantReader::read(field.asBytes())); break;
            case 11: model.inputs.push_back(readValueInfo(field.asBytes())); break;
            case 12: model.outputs.push_back(readValueInfo(field.asBytes())); break;
            default: throw Refusal("the graph holds an unsupported field");
        }
    }
}

std::int64_t readOpset(std::string_view message) {
    std::int64_t version = 0;
    WireReader reader(message);
    for (WireField field; reader.next(field);) {
        if (field.number == 1)
            require(field.asBytes().empty(), "a foreign operator set is used");
        if (field.number == 2)
            version = field.asInt();
    }
    return version;
}

/// Returns whether the field was the graph.
bool readModelField(const WireField& field, Model& model) {
    switch (field.number) {
        case 1: model.irVersion = field.asInt(); return false;
        case 7: readGraph(field.asBytes(), model); return true;
        case 8: model.opsets.push_back(readOpset(field.asBytes())); return false;
        case 14: model.metadata.insert(readEntry(field.asBytes())); return false;
        case 20:
        case 25: throw Refusal("the model holds training data or functions");
        default: return false;
    }
}

Model parse(std::string_view net) {
    Model model;
    int graphs = 0;
    WireReader reader(net);
    for (WireField field; reader.next(field);)
        graphs += readModelField(field, model) ? 1 : 0;
    require(graphs == 1, "the model has no single graph");
    return model;
}

void checkInput(const ValueInfo& input) {
    require(!input.name.empty(), "an input has no name");
    require(input.type == ElementType::kFloat || input.type == ElementType::kUint8,
            "an input is neither float nor byte");
    require(input.dims.size() == 4 && input.dims[0] == 1, "an input is not one image");
    require(input.dims[1] == 1 || input.dims[1] == 3, "an input has neither 1 nor 3 channels");
    require(input.dims[2] <= kInputSideMax && input.dims[3] <= kInputSideMax,
            "an input is too large");
}

void checkStructure(const Model& model) {
    require(model.opsets.size() == 1 && model.opsets[0] == kOpset, "the operator set is not 11");
    require(!model.nodes.empty() && model.nodes.size() <= kNodesMax,
            "the number of nodes is out of range");
    require(model.constants.size() <= kConstantsMax, "there are too many constants");
    require(!model.inputs.empty(), "the graph has no input");
    for (const ValueInfo& input : model.inputs)
        checkInput(input);
}

}  // namespace

Model readModel(std::string_view net) {
    require(net.size() <= kNetBytesMax, "the description is too large");
    checkSeal(net);
    Model model = parse(net);
    checkStructure(model);
    return model;
}

}  // namespace brairu::npu
