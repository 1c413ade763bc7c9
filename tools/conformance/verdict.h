// What an examination found out about each operation, and the way in which it is told.
#pragma once

#include <chrono>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace brairu::conformance {

// Takes the notes of an examination, which may end at any moment: each is written at once.
class Journal {
public:
    explicit Journal(int descriptor) : descriptor_(descriptor) {}

    // Before an operation is called for the first time in a while: what ends the process after this
    // is its fault.
    void calls(std::string_view operation);

    // Returns whether the expectation held.
    bool expects(std::string_view operation, bool held, const std::string& expectation,
                 const std::string& found = {});

    // The examination is over: a process that ends without this was ended by the stack.
    void ends();

private:
    void write(char kind, std::string_view operation, const std::string& text) const;

    int descriptor_;
};

struct Verdict {
    std::string operation;
    int held = 0;
    std::vector<std::string> breaches;

    bool isTried() const { return held > 0 || !breaches.empty(); }
    bool isKept() const { return held > 0 && breaches.empty(); }
};

// One verdict an operation of the contract, in the order of its header.
class Verdicts {
public:
    // The examination of a stack whose operation takes longer than patience is given up.
    explicit Verdicts(std::chrono::seconds patience = std::chrono::minutes(1));

    // Runs an examination in a child process, so that neither a crash nor an exit nor a hang of the
    // stack ends this one, and adds what it noted.
    void examine(const std::function<void(Journal&)>& examination);

    std::span<const Verdict> all() const { return verdicts_; }
    bool areAllKept() const;

private:
    void add(const std::string& notes, const std::string& ending);
    Verdict& of(std::string_view operation);

    std::chrono::seconds patience_;
    std::vector<Verdict> verdicts_;
};

}  // namespace brairu::conformance
