// Has an interpreter running while the tests of this program run, as hosts have when they load documents.
#include "host/python/interpreter.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

class Interpreter : public testing::Environment {
    void SetUp() override { python_ = std::make_unique<embedded_host::PythonInterpreter>(); }
    void TearDown() override { python_.reset(); }

    std::unique_ptr<embedded_host::PythonInterpreter> python_;
};

[[maybe_unused]] testing::Environment* const registered = testing::AddGlobalTestEnvironment(new Interpreter);

}  // namespace
