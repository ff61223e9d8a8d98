// A std::exception that carries its own copy of a text, for the places that rethrow a caught
// exception's words as a std::exception: what() returns the text, or "Unknown exception" when
// it was built without one. A host's catch (std::exception&) receives it.
#pragma once

#include <exception>
#include <memory>
#include <string>

namespace rxk {

// Stands for the text of an exception that has no object to ask (a catch (...) clause).
constexpr char kUnknownExceptionText[] = "unknow";

class TextException : public std::exception {
public:
    TextException() noexcept = default;
    explicit TextException(const char* text)
        : text_(text != nullptr ? std::make_shared<const std::string>(text) : nullptr) {}

    const char* what() const noexcept override { return text_ ? text_->c_str() : kNoText; }

private:
    static constexpr const char* kNoText = "Unknown exception";
    // Shared so that copying the exception object (which the runtime may do) cannot throw.
    std::shared_ptr<const std::string> text_;
};

}  // namespace rxk
