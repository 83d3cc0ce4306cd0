#include "memhost/faults.h"

#include "memhost/text.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace memhost {

namespace {

std::vector<FaultScope*>& scopes() {
    static std::vector<FaultScope*> armed;
    return armed;
}

}  // namespace

FaultScope::FaultScope(Fault fault) : fault_(fault) {
    scopes().push_back(this);
    ++detail::armedFaults;
}

FaultScope::~FaultScope() {
    std::erase(scopes(), this);
    --detail::armedFaults;
}

const Fault* claimFault(Op op) {
    const Fault* claimed = nullptr;
    for (FaultScope* scope : scopes()) {
        const Fault& fault = scope->fault_;
        if (fault.op != Op::Any && fault.op != op) continue;
        ++scope->seen_;
        const bool due = fault.everAfter ? scope->seen_ >= fault.nth : scope->seen_ == fault.nth;
        if (!due || claimed) continue;
        ++scope->hits_;
        claimed = &fault;
    }
    return claimed;
}

void setErrorDescription(const std::string& text) {
    CComPtr<ICreateErrorInfo> writer;
    if (FAILED(CreateErrorInfo(&writer))) return;
    CComBSTR description = bstr(text);
    writer->SetDescription(description);
    const CComQIPtr<IErrorInfo> info(writer.p);
    SetErrorInfo(0, info);
}

namespace {

long count(Op op) {
    if (op != Op::Any) return detail::callCounts[static_cast<std::size_t>(op)];
    return std::accumulate(detail::callCounts.begin(), detail::callCounts.end(), 0L);
}

}  // namespace

CallCount::CallCount(Op op) : op_(op), before_(count(op)) {}

long CallCount::operator()() const {
    return count(op_) - before_;
}

}  // namespace memhost
