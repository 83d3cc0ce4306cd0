// GetGIL: the scope in which Python objects may be touched.
#pragma once

namespace ConditionalXml {

/// Holds the interpreter lock for the calling thread, one that Python has never seen included. The host must have
/// initialised the interpreter: without one the process ends here, by an assertion that stays on in every build.
/// Scopes are not nested within the library.
class GetGIL {
public:
    GetGIL();
    ~GetGIL();
    GetGIL(const GetGIL&) = delete;
    GetGIL& operator=(const GetGIL&) = delete;

private:
    int state_;  // PyGILState_STATE
};

}  // namespace ConditionalXml
