#include "diskModel.h"

#include <algorithm>

namespace brairu::test {
namespace {

constexpr std::uint64_t kSector = 512;

// How much of what was not waited for is on the disk.
enum class Fate { none, all, any, firstOnes };

Fate chooseFate(StepChooser& chance) {
    return static_cast<Fate>(chance.between(0, 3));
}

// Which of so many survive.
std::vector<bool> survivors(std::size_t count, Fate fate, StepChooser& chance) {
    std::vector<bool> kept(count, fate == Fate::all);
    if (fate == Fate::any) {
        std::generate(kept.begin(), kept.end(), [&] { return chance.between(0, 1) == 1; });
    }
    if (fate == Fate::firstOnes) {
        std::fill_n(kept.begin(), chance.between(0, static_cast<int>(count)), true);
    }
    return kept;
}

void change(FileContent& content, const DiskEvent& event) {
    if (event.act == DiskAct::resize) {
        content.resize(event.offset);
    } else {
        content.write(event.offset, event.data);
    }
}

// A write of which only the first or only the last sectors arrived.
DiskEvent torn(DiskEvent event, StepChooser& chance) {
    const std::uint64_t end = event.offset + event.data.size();
    const std::uint64_t firstBorder = event.offset / kSector + 1;
    const std::uint64_t borders = (end - 1) / kSector + 1 - firstBorder;
    if (borders == 0) {
        return event;
    }
    const auto border = kSector * (firstBorder + static_cast<std::uint64_t>(chance.between(
                                                     0, static_cast<int>(borders) - 1)));
    const auto length = static_cast<std::size_t>(border - event.offset);
    if (chance.between(0, 1) == 0) {
        event.data.resize(length);
    } else {
        event.data.erase(0, length);
        event.offset = border;
    }
    return event;
}

bool tears(const DiskEvent& event, Fate fate, StepChooser& chance) {
    const bool possible = fate == Fate::any || fate == Fate::firstOnes;
    return possible && event.act == DiskAct::write && !event.data.empty() &&
           chance.between(0, 3) == 0;
}

// A lost write may still have made the file longer.
void loseWrite(FileContent& content, const DiskEvent& event, StepChooser& chance) {
    const std::uint64_t end = event.offset + event.data.size();
    if (event.act == DiskAct::write && end > content.size && chance.between(0, 7) == 0) {
        content.size = end;
    }
}

FileContent contentAfterCut(FileContent content, const std::vector<DiskEvent>& pending,
                            StepChooser& chance) {
    const Fate fate = chooseFate(chance);
    const std::vector<bool> kept = survivors(pending.size(), fate, chance);
    for (std::size_t i = 0; i < pending.size(); ++i) {
        if (!kept[i]) {
            loseWrite(content, pending[i], chance);
        } else if (tears(pending[i], fate, chance)) {
            change(content, torn(pending[i], chance));
        } else {
            change(content, pending[i]);
        }
    }
    return content;
}

void changeNames(std::map<std::string, int>& names, const DiskEvent& event) {
    switch (event.act) {
        case DiskAct::link: names[event.name] = event.file; break;
        case DiskAct::unlink: names.erase(event.name); break;
        default:
            names.erase(event.name);
            names[event.otherName] = event.file;
            break;
    }
}

bool touches(const DiskEvent& range, const DiskEvent& write) {
    return write.offset < range.offset + range.size &&
           range.offset < write.offset + write.data.size();
}

}  // namespace

DiskModel::DiskModel(const FolderContent& durable) {
    for (const auto& [name, content] : durable) {
        names_[name] = static_cast<int>(files_.size());
        files_.push_back({content, {}});
    }
}

DiskModel::File& DiskModel::file(int number) {
    const auto index = static_cast<std::size_t>(number);
    if (files_.size() <= index) {
        files_.resize(index + 1);
    }
    return files_[index];
}

void DiskModel::apply(const DiskEvent& event) {
    switch (event.act) {
        case DiskAct::link:
        case DiskAct::unlink:
        case DiskAct::rename: pendingNames_.push_back(event); break;
        case DiskAct::write:
        case DiskAct::resize: file(event.file).pending.push_back(event); break;
        case DiskAct::sync: sync(file(event.file)); break;
        case DiskAct::syncRange: syncRange(file(event.file), event); break;
        case DiskAct::syncNames:
            for (const DiskEvent& name : pendingNames_) {
                changeNames(names_, name);
            }
            pendingNames_.clear();
            break;
        case DiskAct::begin:
        case DiskAct::report: break;
    }
}

void DiskModel::sync(File& file) {
    for (const DiskEvent& event : file.pending) {
        change(file.durable, event);
    }
    file.pending.clear();
}

// The size goes with the bytes.
void DiskModel::syncRange(File& file, const DiskEvent& range) {
    std::vector<DiskEvent> later;
    for (const DiskEvent& event : file.pending) {
        if (event.act == DiskAct::resize || touches(range, event)) {
            change(file.durable, event);
        } else {
            later.push_back(event);
        }
    }
    file.pending = std::move(later);
}

FolderContent DiskModel::afterCut(StepChooser& chance) const {
    Names names = names_;
    const std::vector<bool> kept = survivors(pendingNames_.size(), chooseFate(chance), chance);
    for (std::size_t i = 0; i < pendingNames_.size(); ++i) {
        if (kept[i]) {
            changeNames(names, pendingNames_[i]);
        }
    }
    FolderContent folder;
    for (const auto& [name, number] : names) {
        const auto index = static_cast<std::size_t>(number);
        folder[name] = index < files_.size()
                           ? contentAfterCut(files_[index].durable, files_[index].pending, chance)
                           : FileContent{};
    }
    return folder;
}

}  // namespace brairu::test
