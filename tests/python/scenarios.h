// What the tests of the interpreter lock do in child processes.
#pragma once

#include <string>

/// Runs the scenario of that name. \return the exit status: 0 when all that it checks is so.
int runScenario(const std::string& name);
