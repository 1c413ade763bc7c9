#include "crossArchitecture/figures.h"

#include <array>

#include "crossArchitecture/handFigures.h"
#include "crossArchitecture/matchFigures.h"

namespace brairu::test {

std::span<const ExactFigure> exactFigures() {
    static constexpr std::array kFigures{
        ExactFigure{"ScaledLuma", scaledLuma},
        ExactFigure{"DecodedRecords", decodedRecords},
        ExactFigure{"PlacementCodes", placementCodes},
        ExactFigure{"CropGeometry", cropGeometry},
        ExactFigure{"BroadcastFrames", broadcastFrames},
        ExactFigure{"BrightnessFigures", brightnessFigures},
        ExactFigure{"Similarities", similarities},
        ExactFigure{"MeansAndBlends", meansAndBlends},
        ExactFigure{"RegistrationCentres", registrationCentres},
        ExactFigure{"SearchResults", searchResults},
        ExactFigure{"CacheFile", cacheFile},
        ExactFigure{"TemplateRows", templateRows},
        ExactFigure{"ModelContainers", modelContainers},
        ExactFigure{"ConfigurationText", configurationText},
    };
    return kFigures;
}

std::span<const CloseFigure> closeFigures() {
    static constexpr std::array kFigures{
        CloseFigure{"UprightAngles", uprightAngles, 1e-4},
        CloseFigure{"PalmRegions", palmRegions, 1.0},
        CloseFigure{"Sharpness", sharpnessFigures, 1e-3},
    };
    return kFigures;
}

}  // namespace brairu::test
