// Failing on purpose: every operation of the in-memory host can be made to fail at a chosen call.
#pragma once

#include "platform/platform.h"

#include <array>
#include <string>
#include <utility>

namespace memhost {

/// The operations that can fail; each has its own count of calls.
enum class Op : unsigned {
    Any,  // in a Fault: whichever operation comes; calls of all operations are counted together
    QueryInterface,
    AddMessage,
    AddError,
    FieldsFindField,
    RowGetFields,
    RowGetValue,
    RowPutValue,
    RowGetTable,
    RowStore,
    CursorNextRow,
    CursorUpdateRow,
    FilterAddField,
    FilterPutWhereClause,
    IdsReset,
    IdsNext,
    SelectionGetCount,
    SelectionGetIds,
    SelectionUpdate,
    TableGetFields,
    TableGetRow,
    TableSelect,
    TableUpdate,
    ClassFindField,
    ClassGetAliasName,
    SubtypesGetHasSubtype,
    SubtypesGetFieldName,
    SubtypesGetFieldIndex,
    DatasetGetName,
    DatasetGetWorkspace,
    DatasetsNext,
    WorkspaceGetType,
    WorkspaceGetDatasets,
    NameExists,
    OpenTable,
    OpenFeatureClass,
    ParseTableName,
    QualifyTableName,
    ConnectedDatabase,
    ConnectedUser,
    Document,  // any call of the document wrapper (see faulty_dom.h)
    Count
};

/// What a failing call does with its out values.
enum class Out {
    Null,       // set to nothing, as COM demands
    Untouched,  // left as the caller had them
    Filled      // set as if the call had succeeded: the caller must not use them, yet owns them
};

struct Fault {
    Op op = Op::Any;
    HRESULT status = E_FAIL;
    long nth = 1;            // from 1, counted from the moment of arming
    bool everAfter = false;  // else only that one call fails
    Out out = Out::Null;
    const char* description = nullptr;  // becomes the thread's error information, UTF-8
};

/// Arms one fault for as long as it lives; several may be armed at once.
class FaultScope {
public:
    explicit FaultScope(Fault fault);
    ~FaultScope();
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;

    /// How many calls this fault has made fail.
    long hits() const noexcept { return hits_; }
    bool hit() const noexcept { return hits_ != 0; }

private:
    friend const Fault* claimFault(Op op);
    Fault fault_;
    long seen_ = 0;
    long hits_ = 0;
};

/// Counts calls of one operation from its creation on.
class CallCount {
public:
    explicit CallCount(Op op);
    long operator()() const;

private:
    Op op_;
    long before_;
};

namespace detail {
// Zero-initialised plain data: a call costs one increment and one test while nothing is armed.
inline std::array<long, static_cast<std::size_t>(Op::Count)> callCounts;
inline int armedFaults;
}  // namespace detail

/// The fault that this call must fail with, if any.
const Fault* claimFault(Op op);
/// Makes the text the thread's error information.
void setErrorDescription(const std::string& text);

/// No exception crosses an interface.
template <class Body>
HRESULT atBoundary(Body&& body) noexcept {
    try {
        return body();
    } catch (const CAtlException& error) {
        return error;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

/// Runs `real()` unless a fault claims the call; `clear()` sets the out values to nothing.
template <class Real, class Clear>
HRESULT call(Op op, Real&& real, Clear&& clear) noexcept {
    ++detail::callCounts[static_cast<std::size_t>(op)];
    if (detail::armedFaults == 0) return atBoundary(real);
    const Fault* fault = claimFault(op);
    if (!fault) return atBoundary(real);
    if (fault->out == Out::Filled) atBoundary(real);
    if (fault->out == Out::Null) clear();
    if (fault->description) setErrorDescription(fault->description);
    return fault->status;
}

template <class Real>
HRESULT call(Op op, Real&& real) noexcept {
    return call(op, std::forward<Real>(real), [] {});
}

}  // namespace memhost
