// What the library computes from fixed inputs, as it can be compared between machines.
#pragma once

#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace brairu::test {

// Results whose every bit is stated: the digest is the same on every architecture.
struct ExactFigure {
    const char* name;
    std::string (*digest)();

    friend std::ostream& operator<<(std::ostream& stream, const ExactFigure& figure) {
        return stream << figure.name;
    }
};

std::span<const ExactFigure> exactFigures();

// Results of arithmetic that OpenCV and the inference engine do their own way on every
// architecture: no value differs by more than the tolerance.
struct CloseFigure {
    const char* name;
    std::vector<double> (*values)();
    double tolerance;

    friend std::ostream& operator<<(std::ostream& stream, const CloseFigure& figure) {
        return stream << figure.name;
    }
};

std::span<const CloseFigure> closeFigures();

// The shipped networks on one frame: the record of the hand, and the features of its palm.
struct NetworkFigures {
    std::vector<int> record;
    std::vector<int> features;
};

// repository is where the shipped configuration and the networks are; frame, a file of 320 x 240
// bytes of grey.
NetworkFigures networkFigures(const std::string& repository, const std::string& frame);

}  // namespace brairu::test
