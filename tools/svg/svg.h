// Pictures of lines, letters and areas, as SVG. Lengths are in pixels, from the top left corner.
#pragma once

#include <string>
#include <vector>

namespace brairu {

struct SvgPoint {
    double x = 0.0;
    double y = 0.0;
};

class SvgPicture {
public:
    SvgPicture(double width, double height);

    // style: attributes, such as "stroke='#dddddd'".
    void line(SvgPoint from, SvgPoint to, const std::string& style);
    void rectangle(SvgPoint corner, double width, double height, const std::string& style);
    void polyline(const std::vector<SvgPoint>& points, const std::string& style);
    void dot(SvgPoint centre, double radius, const std::string& style);
    // address: of a picture, such as "data:image/jpeg;base64,...".
    void image(SvgPoint corner, double width, double height, const std::string& address);
    // words: any; what XML reserves is escaped.
    void text(SvgPoint start, const std::string& words, const std::string& style);

    // The document as a whole.
    std::string document() const;

private:
    std::string head_;
    std::string body_;
};

}  // namespace brairu
