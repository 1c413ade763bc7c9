// Deciphered models do not outlive their use.
#include <gmock/gmock.h>

#include <vector>

#include "engineSession.h"
#include "npu/modelFile.h"
#include "support/modelContainer.h"
#include "support/scriptedNpu.h"
#include "support/temporaryFolder.h"
#include "watchedCalls.h"

namespace brairu::test {
namespace {

using testing::Contains;
using testing::UnorderedElementsAre;

// What was wiped since, as it was just before.
class Wiped {
public:
    Wiped() {
        WatchedCalls::get().beforeWipe = [this](const void* memory, std::size_t bytes) {
            texts_.emplace_back(static_cast<const char*>(memory), bytes);
        };
    }
    ~Wiped() { WatchedCalls::get().beforeWipe = nullptr; }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

    // The wiped texts that begin so, cut to a length.
    std::vector<std::string> startingWith(std::string_view head, std::size_t length) const {
        std::vector<std::string> found;
        for (const std::string& text : texts_) {
            if (text.starts_with(head)) {
                found.push_back(text.substr(0, length));
            }
        }
        return found;
    }
    const std::vector<std::string>& texts() const { return texts_; }

private:
    std::vector<std::string> texts_;
};

std::string someModel(std::size_t bytes) {
    std::string model = "model ";
    while (model.size() < bytes) {
        model += static_cast<char>('a' + model.size() % 23);
    }
    return model;
}

class ModelWiping : public EngineSession {
protected:
    std::string seal(const std::string& model) const {
        return models_.write("model", sealedModel(model));
    }

    TemporaryFolder models_;
};

TEST_F(ModelWiping, ABufferIsWipedAllOverWhenItGoes) {
    const std::string model = someModel(3000);
    const std::string path = seal(model);
    ModelBuffer buffer;
    ASSERT_TRUE(readModelFile(path, buffer));
    const Wiped wiped;
    buffer = {};
    EXPECT_THAT(wiped.startingWith("model ", model.size()), UnorderedElementsAre(model));
}

TEST_F(ModelWiping, TheChunkOnItsWayIsWiped) {
    const std::string model = someModel(100);
    const std::string path = seal(model);
    ModelBuffer buffer;
    const Wiped wiped;
    ASSERT_TRUE(readModelFile(path, buffer));
    EXPECT_THAT(wiped.startingWith("model ", model.size()), UnorderedElementsAre(model));
}

TEST_F(ModelWiping, TheKeyIsWipedAfterEveryFile) {
    const std::string path = seal(someModel(3000));
    ModelBuffer buffer;
    const Wiped wiped;
    ASSERT_TRUE(readModelFile(path, buffer));
    EXPECT_THAT(wiped.texts(), Contains(std::string(kFieldKey)));
}

// All six models are gone when the engine has started.
TEST_F(ModelWiping, TheEngineKeepsNoModel) {
    freshly([&] {
        const Wiped wiped;
        start();
        for (const auto& model : ScriptedNpu::get().models) {
            const std::string text(model.begin(), model.end());
            // The chunk and the buffer.
            EXPECT_EQ(wiped.startingWith(text, text.size()).size(), 2u) << text;
        }
        EXPECT_EQ(ScriptedNpu::get().models.size(), 6u);
        EXPECT_EQ(ScriptedNpu::get().live["model"], 0);
    });
}

}  // namespace
}  // namespace brairu::test
