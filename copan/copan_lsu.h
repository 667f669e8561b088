// One LSU of a simulated Copan array.
#pragma once

#include <string>
#include <utility>

#include "sim/storage_server.h"

// A volume's name. Objects of this kind are made while a file is read and live for the rest of the process: a pointer
// that a server handed out stays valid after the server is gone.
class CopanLSU : public LSU {
public:
    explicit CopanLSU(std::string name) : m_name(std::move(name)) {}

    // The volume's name, owned by this object; never null.
    const std::string *getInfo() override { return &m_name; }

    virtual ~CopanLSU() = default;

private:
    std::string m_name;
};
