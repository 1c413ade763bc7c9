#include "support/modelContainer.h"

#include <sodium.h>

namespace brairu::test {

std::string sealedModel(std::string_view model, const std::array<std::uint8_t, 8>& nonce,
                        std::string_view key) {
    std::array<std::uint8_t, 1024> keystream;
    crypto_stream_chacha20(keystream.data(), keystream.size(), nonce.data(),
                           reinterpret_cast<const std::uint8_t*>(key.data()));
    std::string container(nonce.begin(), nonce.end());
    for (std::size_t i = 0; i < model.size(); ++i) {
        container += static_cast<char>(static_cast<std::uint8_t>(model[i]) ^ keystream[i % 1024]);
    }
    return container;
}

}  // namespace brairu::test
