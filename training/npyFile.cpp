#include "training/npyFile.h"

#include <stdexcept>

namespace brairu {
namespace {

constexpr std::size_t kHeaderAlignment = 64;
constexpr std::size_t kMagicLength = 10;

std::string shapeText(const std::vector<int>& shape) {
    std::string text = "(";
    for (const int extent : shape) {
        text += std::to_string(extent) + ",";
    }
    return text + ")";
}

std::string headerOf(const std::string& type, const std::vector<int>& shape) {
    std::string header =
        "{'descr': '" + type + "', 'fortran_order': False, 'shape': " + shapeText(shape) + ", }";
    while ((kMagicLength + header.size() + 1) % kHeaderAlignment != 0) {
        header += ' ';
    }
    return header + '\n';
}

}  // namespace

NpyFile::NpyFile(const std::string& path, const std::string& type, const std::vector<int>& shape)
    : path_(path), stream_(path, std::ios::binary) {
    const std::string header = headerOf(type, shape);
    const char prefix[kMagicLength] = {'\x93',
                                       'N',
                                       'U',
                                       'M',
                                       'P',
                                       'Y',
                                       1,
                                       0,
                                       static_cast<char>(header.size() & 0xFFU),
                                       static_cast<char>(header.size() >> 8U)};
    append(prefix, sizeof prefix);
    append(header.data(), header.size());
}

void NpyFile::append(const void* bytes, std::size_t length) {
    stream_.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(length));
}

void NpyFile::close() {
    stream_.close();
    if (!stream_) {
        throw std::runtime_error("cannot write " + path_);
    }
}

}  // namespace brairu
