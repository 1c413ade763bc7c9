// A place to run the tool at: a configuration of its own, the shipped networks, a store, frames.
#pragma once

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "renderer/palmRenderer.h"
#include "support/temporaryFolder.h"

namespace brairu::test {

using Json = nlohmann::ordered_json;

struct ToolRun {
    int exitStatus = -1;  // -1 for a death by signal
    std::string out;
    std::string err;

    Json json() const { return Json::parse(out); }
};

// A camera in place of a real one, /dev/double. It delivers the pictures of a folder, and is
// unplugged then.
struct CameraDouble {
    std::string pictures;
    std::string format = "YUYV";
    std::string burst = "1";  // frames between two looks
    std::string fault = "";
};

class ToolPlace {
public:
    // Captures of an enrolment need not differ here, so that few frames do.
    ToolPlace();

    // The configuration; written anew by every run.
    Json config;

    std::string file(const std::string& name) const { return folder_.file(name); }
    std::string configPath() const { return file("brairu.json"); }
    std::string databasePath() const { return file("palms.db"); }
    std::string cachePath() const { return file("palms.bin"); }
    std::string write(const std::string& name, const std::string& content) const {
        return folder_.write(name, content);
    }

    // Runs the tool in the repository root on the configuration.
    ToolRun run(const std::vector<std::string>& arguments) const;
    // The same without writing or naming the configuration.
    ToolRun runAsItIs(const std::vector<std::string>& arguments) const;
    // As run, beside this camera.
    ToolRun runBeside(const CameraDouble& camera, const std::vector<std::string>& arguments) const;
    // As run, but the rights of files hold for root too.
    ToolRun runWithoutPrivileges(const std::vector<std::string>& arguments) const;

    // Writes captures of a left palm as pictures, which are told apart by their number.
    std::vector<std::string> frames(int person, int firstCapture, int count) const;
    // A frame of plain grey.
    std::string greyFrame(const std::string& name) const;
    // These frames as a video, unchanged.
    std::string video(const std::string& name, const std::vector<std::string>& frames) const;
    // Luma as a picture file; returns its path.
    std::string picture(const std::string& name, const cv::Mat& luma) const;

    ToolRun enrol(int person) const;
    // The store in which person 1 is enrolled, made once for all tests of a process.
    void haveEnrolled() const;

    // A copy of a shipped model container, which config then names.
    std::string ownModel(const std::string& section, const std::string& key);

    // Names and contents of the files of the store.
    std::vector<std::string> storeState() const;

private:
    ToolRun start(const std::vector<std::string>& arguments, void (*prepare)()) const;

    TemporaryFolder folder_;
};

// A rendered capture of a person's left palm.
cv::Mat palmFrame(int person, int capture);

// a followed by b
std::vector<std::string> joined(std::vector<std::string> a, const std::vector<std::string>& b);

}  // namespace brairu::test
