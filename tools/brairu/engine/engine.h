// The engine, started for as long as the object lives.
#pragma once

#include <string>

namespace brairu::tool {

class Engine {
public:
    explicit Engine(const std::string& configPath);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
};

}  // namespace brairu::tool
