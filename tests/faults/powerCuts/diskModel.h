// A disk that keeps what was waited for, and of the rest whatever it likes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "diskTrace.h"
#include "ledger.h"

namespace brairu::test {

class DiskModel {
public:
    explicit DiskModel(const FolderContent& durable);

    void apply(const DiskEvent& event);

    // What a power cut now may leave.
    FolderContent afterCut(StepChooser& chance) const;

private:
    struct File {
        FileContent durable;
        std::vector<DiskEvent> pending;
    };
    using Names = std::map<std::string, int>;

    File& file(int number);
    void sync(File& file);
    void syncRange(File& file, const DiskEvent& range);

    std::vector<File> files_;
    Names names_;
    std::vector<DiskEvent> pendingNames_;
};

}  // namespace brairu::test
