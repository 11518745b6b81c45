// How a command ends early: with a message for the person, and the exit status that goes with it.
#pragma once

#include <stdexcept>

namespace vtdl::host {

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    virtual int Status() const noexcept { return 1; }
};

/// What was asked for makes no sense.
class UsageError : public Failure {
public:
    using Failure::Failure;
    int Status() const noexcept override { return 2; }
};

}  // namespace vtdl::host
