// keyTraces FILE[@OFFSET]... -- ARGUMENT...
// Runs a program's work in this process, then searches the memory of the process for secrets.
// Each file contains one secret: the first 12 to 64 bytes from the offset on. The exit status is the run's status, or
// 99 if a secret is still in the heap, or 98 if the arguments are wrong or a file can't be read. The search covers both
// byte orders, because OpenSSL stores keys in either.

#include "tests/cli/keyTraces.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" void __asan_describe_address(void* address) __attribute__((weak));

namespace {

constexpr unsigned char mask = 0xA5;  // keeps the search from finding its own copy of a secret
constexpr std::uint64_t masks = 0xA5A5A5A5A5A5A5A5;
constexpr std::uintptr_t maxMappingSize = std::uintptr_t{1} << 30;  // larger mappings are the sanitizers' own records

struct Secret {
    std::array<unsigned char, 64> masked;
    std::size_t size;
};

bool readSecret(const char* name, Secret& secret) {
    std::array<char, 256> path{};
    std::strncpy(path.data(), name, path.size() - 1);
    char* const mark = std::strchr(path.data(), '@');
    const long offset = mark == nullptr ? 0 : std::atol(mark + 1);
    if (mark != nullptr) {
        *mark = '\0';
    }
    const int file = open(path.data(), O_RDONLY | O_CLOEXEC);
    const ssize_t size = file < 0 ? -1 : pread(file, secret.masked.data(), secret.masked.size(), offset);
    close(file);
    secret.size = size < 12 ? 0 : static_cast<std::size_t>(size);
    for (unsigned char& byte : secret.masked) {
        byte ^= mask;
    }
    return secret.size != 0;
}

bool matchesAt(const unsigned char* place, const Secret& secret) {
    std::size_t forward = 0;
    while (forward < secret.size && (place[forward] ^ mask) == secret.masked[forward]) {
        ++forward;
    }
    std::size_t backward = 0;
    while (backward < secret.size && (place[backward] ^ mask) == secret.masked[secret.size - 1 - backward]) {
        ++backward;
    }
    return forward == secret.size || backward == secret.size;
}

/// The first eight bytes of the secret, still masked. With `turned`, the first eight of the reversed secret.
std::uint64_t firstBytes(const Secret& secret, bool turned) {
    std::array<unsigned char, sizeof(std::uint64_t)> first{};
    for (std::size_t i = 0; i < first.size(); ++i) {
        first[i] = secret.masked[turned ? secret.size - 1 - i : i];
    }
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, first.data(), sizeof bytes);
    return bytes;
}

bool find(std::uintptr_t begin, std::uintptr_t end, const Secret& secret, const char* name) {
    // The first bytes rule out most places quickly: a sanitized process has hundreds of megabytes to search.
    const std::uint64_t forward = firstBytes(secret, false);
    const std::uint64_t backward = firstBytes(secret, true);
    bool found = false;
    for (std::uintptr_t place = begin; place + secret.size <= end; ++place) {
        auto* const address = reinterpret_cast<unsigned char*>(place);
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, address, sizeof bytes);
        if (((bytes ^ masks) == forward || (bytes ^ masks) == backward) && matchesAt(address, secret)) {
            std::printf("%s is at %p\n", name, static_cast<void*>(address));
            if (__asan_describe_address != nullptr) {
                __asan_describe_address(address);
            }
            found = true;
        }
    }
    return found;
}

// Searches the heap and the mappings of large arrays: all memory that is writable and belongs to no file.
bool findInHeap(const Secret& secret, const char* name) {
    std::FILE* const maps = std::fopen("/proc/self/maps", "re");
    char line[512];
    bool found = maps == nullptr;
    while (!found && std::fgets(line, sizeof line, maps) != nullptr) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char access[5] = {};
        char path[256] = {};
        const int fields =
            std::sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %4s %*s %*s %*s %255s", &begin, &end, access, path);
        const bool heap = fields == 3 || std::strcmp(path, "[heap]") == 0;
        if (heap && std::strncmp(access, "rw", 2) == 0 && end - begin < maxMappingSize) {
            found = find(begin, end, secret, name);
        }
    }
    if (maps != nullptr) {
        std::fclose(maps);
    }
    return found;
}

}  // namespace

int main(int argc, char** argv) {
    int count = 0;
    while (count + 1 < argc && std::strcmp(argv[count + 1], "--") != 0) {
        ++count;
    }
    char** const arguments = argv + count + 1;
    if (count + 1 >= argc) {
        return 98;
    }
    arguments[0] = argv[0];
    const int status = runInHere(argc - count - 1, arguments);
    for (int i = 1; i <= count; ++i) {
        Secret secret{};  // read after the run, which may have made the file
        if (!readSecret(argv[i], secret)) {
            return 98;
        }
        if (findInHeap(secret, argv[i])) {
            return 99;
        }
    }
    return status;
}
