// A folder of rendered frames, with what is true of each.
#pragma once

#include "renderer/palmRenderer.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace brairu {

struct AlbumOptions {
    std::filesystem::path folder;
    int people = 2;
    int captures = 2;
    int empty = 0;
    std::uint64_t seed = 1;
    Scenario scenario = Scenario::enrolment;
    cv::Size size{640, 480};
    std::string format = "png";  // or raw
};

using AlbumFileVisitor = std::function<void(const std::filesystem::path& file)>;

// Every file that drawAlbum writes.
void visitAlbumFiles(const AlbumOptions& options, const AlbumFileVisitor& visit);

// Draws captures of both palms of each person, and frames without an open palm, as PNG files or as raw
// bytes of grey, row by row; and index.csv with the hand, box and key points of each frame in
// pixels. progress is told how many frames of how many are drawn. Throws std::runtime_error when
// something cannot be written.
void drawAlbum(const AlbumOptions& options,
               const std::function<void(int frame, int frames)>& progress);

}  // namespace brairu
