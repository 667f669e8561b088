// The one exception of the plug-in: a Copan array that is not in its configuration file.
#pragma once

#include <string>

// Thrown by value, caught by reference; it never leaves an entry point.
class STSException {
public:
    // Copies the text.
    explicit STSException(const char *text) : m_text(text) {}

    // The text; valid as long as the exception lives.
    const char *toString() const { return m_text.c_str(); }

private:
    std::string m_text;
};
