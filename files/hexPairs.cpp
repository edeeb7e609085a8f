#include "files/hexPairs.h"

#include <algorithm>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

HexDecoding decodeHexPairsPortable(const char* text, std::size_t pairs, std::uint8_t* bytes) {
    int invalid = 0;
    unsigned sum = 0;
    for (std::size_t i = 0; i < pairs; ++i) {
        const int high = hexDigitValue(text[2 * i]);
        const int low = hexDigitValue(text[2 * i + 1]);
        invalid |= high | low;  // negative if a digit is invalid
        bytes[i] = static_cast<std::uint8_t>((high & 0xF) << 4 | (low & 0xF));
        sum += bytes[i];
    }
    return {invalid >= 0, static_cast<std::uint8_t>(sum)};
}

#ifdef __SSE2__

namespace {

// Every x86-64 processor has SSE2, so no check at run time is needed.
constexpr std::size_t vectorSize = 16;

// A vector that is loaded from offset 16 - n has n bytes of 0xFF, then zeros.
constexpr std::array<std::uint8_t, 2 * vectorSize> onesThenZeros = [] {
    std::array<std::uint8_t, 2 * vectorSize> mask{};
    for (std::size_t i = 0; i < vectorSize; ++i) {
        mask[i] = 0xFF;
    }
    return mask;
}();

__m128i load(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

__m128i firstBytes(std::size_t count) {
    return load(onesThenZeros.data() + vectorSize - count);
}

// Decodes eight pairs of digits to eight bytes in 16-bit lanes. In `invalid`, the byte of a character that isn't a
// digit is 0xFF.
inline __m128i decodeEight(__m128i text, __m128i& invalid) {
    const __m128i number = _mm_sub_epi8(text, _mm_set1_epi8('0'));
    const __m128i isNumber = _mm_cmpeq_epi8(_mm_min_epu8(number, _mm_set1_epi8(9)), number);
    const __m128i letter = _mm_sub_epi8(_mm_or_si128(text, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
    const __m128i isLetter = _mm_cmpeq_epi8(_mm_min_epu8(letter, _mm_set1_epi8(5)), letter);
    invalid = _mm_cmpeq_epi8(_mm_or_si128(isNumber, isLetter), _mm_setzero_si128());
    const __m128i digits =
        _mm_or_si128(_mm_and_si128(isNumber, number), _mm_and_si128(isLetter, _mm_add_epi8(letter, _mm_set1_epi8(10))));
    const __m128i joined = _mm_or_si128(_mm_slli_epi16(digits, 4), _mm_srli_epi16(digits, 8));
    return _mm_and_si128(joined, _mm_set1_epi16(0xFF));
}

}  // namespace

HexDecoding decodeHexPairs(const char* text, std::size_t pairs, std::uint8_t* bytes) {
    const __m128i zero = _mm_setzero_si128();
    __m128i invalid = zero;
    __m128i sums = zero;
    for (std::size_t done = 0; done < pairs; done += vectorSize) {
        __m128i invalidLow;
        __m128i invalidHigh;
        const __m128i low = decodeEight(load(text + 2 * done), invalidLow);
        const __m128i high = decodeEight(load(text + 2 * done + vectorSize), invalidHigh);
        __m128i decoded = _mm_packus_epi16(low, high);
        const std::size_t left = pairs - done;
        if (left < vectorSize) {  // ignore the characters after the last pair
            decoded = _mm_and_si128(decoded, firstBytes(left));
            invalidLow = _mm_and_si128(invalidLow, firstBytes(std::min(2 * left, vectorSize)));
            invalidHigh = _mm_and_si128(invalidHigh, firstBytes(std::max(2 * left, vectorSize) - vectorSize));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + done), decoded);
        invalid = _mm_or_si128(invalid, _mm_or_si128(invalidLow, invalidHigh));
        sums = _mm_add_epi64(sums, _mm_sad_epu8(decoded, zero));
    }
    const int sum = _mm_cvtsi128_si32(sums) + _mm_cvtsi128_si32(_mm_srli_si128(sums, 8));
    return {_mm_movemask_epi8(invalid) == 0, static_cast<std::uint8_t>(sum)};
}

#else

HexDecoding decodeHexPairs(const char* text, std::size_t pairs, std::uint8_t* bytes) {
    return decodeHexPairsPortable(text, pairs, bytes);
}

#endif
