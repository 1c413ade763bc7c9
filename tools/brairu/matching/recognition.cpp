#include "matching/recognition.h"

#include "report/numbers.h"

namespace brairu::tool {
namespace {

using Kind = Recognition::Kind;

constexpr int kDigits = 3;

const char* idOf(Kind kind) {
    switch (kind) {
        case Kind::recognised: return "recognised";
        case Kind::unconfirmed: return "unconfirmed";
        case Kind::unknown: return "not_recognised";
    }
    return "";
}

}  // namespace

Recognition recognise(const Features& features) {
    Recognition recognition;
    if (pvaGetAuthRes(features.data(), &recognition.match) == 1) {
        recognition.kind = Kind::recognised;
    } else if (recognition.match.rowId != 0) {
        recognition.kind = Kind::unconfirmed;
    }
    return recognition;
}

std::string textOf(const Recognition& recognition) {
    const PvaAuthResult& match = recognition.match;
    switch (recognition.kind) {
        case Kind::recognised:
            return "user " + std::to_string(match.userid) + ", palm " +
                   std::to_string(match.palmindex) + ", similarity " +
                   rounded(match.similarity, kDigits);
        case Kind::unconfirmed:
            return "a match, similarity " + rounded(match.similarity, kDigits) +
                   ", not confirmed yet: it takes as many agreeing matches as "
                   "feature.security_level";
        case Kind::unknown: break;
    }
    return "not recognised: no enrolled palm is similar enough";
}

Json jsonOf(const Recognition& recognition) {
    Json json{{"result", idOf(recognition.kind)}};
    if (recognition.kind == Kind::recognised) {
        json["user"] = recognition.match.userid;
        json["palm"] = recognition.match.palmindex;
    }
    if (recognition.kind != Kind::unknown) {
        json["similarity"] = recognition.match.similarity;
    }
    return json;
}

}  // namespace brairu::tool
