#pragma once

namespace brairu::bench {

// While one is alive the NPU stand-in neither converts a frame nor runs a network: its outputs stay
// those of the last run. Everything else of it does its work.
class RestingNetworks {
public:
    RestingNetworks();
    ~RestingNetworks();
    RestingNetworks(const RestingNetworks&) = delete;
    RestingNetworks& operator=(const RestingNetworks&) = delete;
};

}  // namespace brairu::bench
