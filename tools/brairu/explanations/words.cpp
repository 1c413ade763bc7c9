#include "explanations/words.h"

#include <algorithm>
#include <array>

namespace brairu::tool {
namespace {

struct CodeWords {
    std::uint32_t code;
    Stage stage;
    Words words;
};

constexpr char kShowPalm[] =
    "Hold the open hand up, its palm to the camera and all of it in the picture.";

constexpr std::array kCodes{
    CodeWords{PVA_PLACEMENT_GOOD, Stage::quality, {"good", "good", "", ""}},
    CodeWords{PVA_PLACEMENT_LEFT,
              Stage::placement,
              {"left_edge", "too close to the left edge of the picture",
               "Move the hand to the right in the picture.", "left margin"}},
    CodeWords{PVA_PLACEMENT_RIGHT,
              Stage::placement,
              {"right_edge", "too close to the right edge of the picture",
               "Move the hand to the left in the picture.", "right margin"}},
    CodeWords{PVA_PLACEMENT_TOP,
              Stage::placement,
              {"top_edge", "too close to the top edge of the picture",
               "Move the hand down in the picture.", "top margin"}},
    CodeWords{PVA_PLACEMENT_BOTTOM,
              Stage::placement,
              {"bottom_edge", "too close to the bottom edge of the picture",
               "Move the hand up in the picture.", "bottom margin"}},
    CodeWords{PVA_PLACEMENT_LARGE,
              Stage::placement,
              {"too_large", "the hand is too large in the picture",
               "Move the hand away from the camera.", "hand "}},
    CodeWords{PVA_PLACEMENT_SMALL,
              Stage::placement,
              {"too_small", "the hand is too small in the picture",
               "Move the hand closer to the camera.", "hand "}},
    CodeWords{PVA_QUALITY_BRIGHT,
              Stage::quality,
              {"too_bright", "the palm is too bright",
               "Move the hand away from the lamp, keep sunlight off, or shorten the exposure.",
               "brightness"}},
    CodeWords{PVA_QUALITY_DARK,
              Stage::quality,
              {"too_dark", "the palm is too dark",
               "Move the hand closer to the lamp, or raise lamp power or exposure.", "brightness"}},
    CodeWords{PVA_QUALITY_UNEVEN,
              Stage::quality,
              {"uneven_light", "the palm is lit unevenly",
               "Hold the palm square to the camera, and keep sunlight and shadows off it.",
               "unevenness"}},
    CodeWords{PVA_QUALITY_BLURRED,
              Stage::quality,
              {"blurred", "the palm is blurred",
               "Hold the hand still, at the distance that the camera is focused on.", "sharpness"}},
};

// A palm that cannot be cut out of the picture, or a code of a newer library.
constexpr Words kOther{"refused", "the palm cannot be cut out of the picture",
                       "Move the hand to the middle of the picture.", ""};
constexpr Words kNobody{"no_hand", "no hand was found", kShowPalm, "hand score"};
constexpr Words kTooLarge{"hand_fills_picture",
                          "what looks like a hand fills 80 % of the picture's width or height",
                          "Move the hand away from the camera.", ""};
constexpr Words kSlanted{"slanted", "the hand is seen at a slant, or is turned too far",
                         "Hold the palm square to the camera, fingers up.", ""};
constexpr Words kNotAPalm{"not_a_palm",
                          "what looks like a hand is not an open palm: its finger bases and its "
                          "middle lie wrong",
                          kShowPalm, ""};

}  // namespace

const Words& wordsFor(std::uint32_t code, Stage stage) {
    const auto* const entry = std::ranges::find_if(kCodes, [&](const CodeWords& candidate) {
        return candidate.code == code && candidate.stage == stage;
    });
    return entry == kCodes.end() ? kOther : entry->words;
}

const Words& wordsForFault(HandFault fault) {
    switch (fault) {
        case HandFault::tooLarge: return kTooLarge;
        case HandFault::slanted: return kSlanted;
        case HandFault::notAPalm: return kNotAPalm;
        case HandFault::none: break;
    }
    return kOther;
}

const Words& wordsForNobody() {
    return kNobody;
}

}  // namespace brairu::tool
