#pragma once

#include "jobs/jobTable.h"

#include <QByteArrayView>

namespace produce {

/// The part of a base IV that no two images of a key may share.
enum class IvRule {
    none,   ///< the job makes no image with a nonce of its own
    base,   ///< the first 8 bytes of SHA-256(nonce): the last 4 bytes of the base IV differ by kind, version and area
    whole,  ///< the 16 bytes of the nonce, which are the IV
};

[[nodiscard]] IvRule ivRule(const jobs::JobRow& row);

/// The part of the base IV that `nonce` leads to. False if the rule is `none`, the size is wrong or SHA-256 fails.
[[nodiscard]] bool ivPart(IvRule rule, QByteArrayView nonce, QByteArray& part);

}  // namespace produce
