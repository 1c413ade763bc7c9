// The configuration document and the file that it lives in.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace brairu {

// Keys keep the order of the file, and are written back in it.
using ConfigDocument = nlohmann::ordered_json;

class ConfigStore {
public:
    // Parses the file into the document and makes it the target of save(), wherever the working
    // directory leads later and even when it fails: that is printed on standard output. After a
    // parse error the document is what the parser left of it.
    bool load(const std::string& path);

    // Rewrites the file from the document. A failure is silent. A power cut leaves the old or the
    // new text, wherever a file beside it can take its place (see replaceFile).
    void save() const;

    // True when document[section] exists and, unless key is empty, is an object that holds key.
    bool has(const std::string& section, const std::string& key) const;

    // document[section][key] = value (an empty key assigns the section itself), then save().
    void set(const std::string& section, const std::string& key, ConfigDocument value);

    ConfigDocument& document() { return document_; }
    const ConfigDocument& document() const { return document_; }

private:
    std::string path_;
    ConfigDocument document_;
};

// Typed reads. A missing section or key is inserted as null; what is not of the type raises the
// JSON library's type_error 302. Numbers may be booleans, integers or fractions; a fraction is cut
// towards zero for an integer read.
int readInt(ConfigDocument& document, const char* section, const char* key);
float readFloat(ConfigDocument& document, const char* section, const char* key);
std::string readText(ConfigDocument& document, const char* section, const char* key);

}  // namespace brairu
