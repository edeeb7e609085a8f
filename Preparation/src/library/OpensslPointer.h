#pragma once

#include <memory>

template <auto release>
struct OpensslFree {
    template <typename T>
    void operator()(T* object) const {
        static_cast<void>(release(object));
    }
};

/// An OpenSSL object with the function that frees it: OpensslPointer<BIGNUM, BN_free>.
template <typename T, auto release>
using OpensslPointer = std::unique_ptr<T, OpensslFree<release>>;
