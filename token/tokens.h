#pragma once

#include "token/Driver.h"
#include "token/KeyUri.h"

#include <vector>

namespace token {

/// Loads the driver that the URI names with module-path or module-name. A name is looked up in p11-kit's configuration,
/// then in its folder of drivers. Without both, the driver is that of the cards.
[[nodiscard]] bool loadDriverOf(const KeyUri& uri, Driver& driver);

/// Describes the initialised tokens of a driver, in its order.
[[nodiscard]] bool listTokens(const Driver& driver, std::vector<TokenRecord>& found);

/// The token's label, without the blanks that fill the field.
[[nodiscard]] QString labelOf(const TokenRecord& record);

}  // namespace token
