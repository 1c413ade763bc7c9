#include "svg/svg.h"

#include <array>
#include <cstdio>

namespace brairu {
namespace {

std::string number(double value) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%.1f", value);
    return text.data();
}

std::string attribute(const char* name, double value) {
    return std::string(" ") + name + "='" + number(value) + "'";
}

std::string escaped(const std::string& words) {
    std::string text;
    for (const char letter : words) {
        switch (letter) {
            case '&': text += "&amp;"; break;
            case '<': text += "&lt;"; break;
            case '>': text += "&gt;"; break;
            default: text += letter;
        }
    }
    return text;
}

}  // namespace

SvgPicture::SvgPicture(double width, double height)
    : head_("<svg xmlns='http://www.w3.org/2000/svg'" + attribute("width", width) +
            attribute("height", height) +
            " font-family='sans-serif' font-size='12'>\n"
            "<rect width='100%' height='100%' fill='white'/>\n") {}

void SvgPicture::line(SvgPoint from, SvgPoint to, const std::string& style) {
    body_ += "<line" + attribute("x1", from.x) + attribute("y1", from.y) + attribute("x2", to.x) +
             attribute("y2", to.y) + " " + style + "/>\n";
}

void SvgPicture::rectangle(SvgPoint corner, double width, double height, const std::string& style) {
    body_ += "<rect" + attribute("x", corner.x) + attribute("y", corner.y) +
             attribute("width", width) + attribute("height", height) + " " + style + "/>\n";
}

void SvgPicture::polyline(const std::vector<SvgPoint>& points, const std::string& style) {
    body_ += "<polyline points='";
    for (const SvgPoint& point : points) {
        body_ += number(point.x) + "," + number(point.y) + " ";
    }
    body_ += "' fill='none' " + style + "/>\n";
}

void SvgPicture::dot(SvgPoint centre, double radius, const std::string& style) {
    body_ += "<circle" + attribute("cx", centre.x) + attribute("cy", centre.y) +
             attribute("r", radius) + " " + style + "/>\n";
}

void SvgPicture::image(SvgPoint corner, double width, double height, const std::string& address) {
    body_ += "<image" + attribute("x", corner.x) + attribute("y", corner.y) +
             attribute("width", width) + attribute("height", height) + " href='" + address +
             "'/>\n";
}

void SvgPicture::text(SvgPoint start, const std::string& words, const std::string& style) {
    body_ += "<text" + attribute("x", start.x) + attribute("y", start.y) + " " + style + ">" +
             escaped(words) + "</text>\n";
}

std::string SvgPicture::document() const {
    return head_ + body_ + "</svg>\n";
}

}  // namespace brairu
