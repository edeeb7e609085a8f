#include "tests/support/MessageCapture.h"

#include "display/Display.h"

namespace {

// A callback is a plain function and has no context, so it stores messages in a global variable. Captures nest: each
// capture keeps the messages of the outer one.
std::vector<std::pair<int, std::string>> captured;

void capture(std::int32_t kind, const wchar_t* text) {
    captured.emplace_back(kind, QString::fromWCharArray(text).toStdString());
}

}  // namespace

MessageCapture::MessageCapture() : before_(Display::getInstance()->callback), capturedBefore_(std::move(captured)) {
    captured.clear();
    Display::getInstance()->callback = capture;
}

MessageCapture::~MessageCapture() {
    captured = std::move(capturedBefore_);
    Display::getInstance()->callback = before_;
}

std::vector<std::string> MessageCapture::texts() const {
    std::vector<std::string> result;
    for (const auto& message : captured) {
        result.push_back(message.second);
    }
    return result;
}

std::vector<std::string> MessageCapture::texts(int kind) const {
    std::vector<std::string> result;
    for (const auto& message : captured) {
        if (message.first == kind) {
            result.push_back(message.second);
        }
    }
    return result;
}

const std::vector<std::pair<int, std::string>>& MessageCapture::messages() const {
    return captured;
}

void MessageCapture::clear() {
    captured.clear();
}
