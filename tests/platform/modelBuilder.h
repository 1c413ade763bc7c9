#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace brairu::test {

using Shape = std::vector<std::int64_t>;

enum ElementCode { kFloat = 1, kUint8 = 2, kInt8 = 3, kInt32 = 6, kInt64 = 7 };

/// Both files of a network as they are handed to the stack.
struct ModelPair {
    std::string net;
    std::string blobs;
};

struct TestTensor {
    std::string name;
    std::int64_t type = kFloat;
    Shape dims;
    std::string data;
    bool external = false;
    std::string location = "blobs";
};

struct TestNode {
    std::string op;
    std::vector<std::string> inputs;
    std::vector<std::string> outputs;
    std::vector<std::string> attributes;  // serialised
    std::string domain;
};

struct TestValue {
    std::string name;
    std::int64_t type = kFloat;
    Shape dims;
};

/// A network description that a test writes down, spoils if it wants to, and builds.
struct TestModel {
    std::vector<TestNode> nodes;
    std::vector<TestTensor> tensors;
    std::vector<TestValue> inputs;
    std::vector<TestValue> outputs;
    std::int64_t opset = 11;

    void floats(const std::string& name, const Shape& dims, const std::vector<float>& values,
                bool external = true);
    void integers(const std::string& name, const std::vector<std::int64_t>& values);
    /// Ends the graph: quantises value with the scale into an output that is reported as name.
    void quantise(const std::string& value, const std::string& name, float scale,
                  const Shape& dims);
    TestTensor& tensor(const std::string& name);
    /// The first node of that operator.
    TestNode& node(const std::string& op);
    ModelPair build() const;
};

std::string attribute(const std::string& name, std::int64_t value);
std::string attribute(const std::string& name, int value);
std::string attribute(const std::string& name, const Shape& values);
std::string attribute(const std::string& name, float value);
std::string attribute(const std::string& name, const char* value);

/// The description without its seal, and sealed again after a test has changed it.
std::string unsealed(const std::string& net);
std::string sealed(const std::string& body);

/// [1, 1, 4, 4] -> Conv 3x3 with padding, two channels -> Relu -> "scores" [1, 2, 4, 4], scale 2.
TestModel convolutionModel();
/// [1, 1, 32, 32] -> every operator but the normalising ones -> "output0" [1, 84, 8].
TestModel everyOperatorModel();

}  // namespace brairu::test
