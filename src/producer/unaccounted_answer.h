// A write the service answered with success but without accounting for what was sent (an empty
// 2xx body, an answer cut short, fewer or more result entries than records) is no acceptance:
// taking it for one would report records as written that nobody saw. Such an answer is turned
// into a failed outcome, so the host gets the usual failure path and nothing is lost silently.
#pragma once

#include <cstddef>
#include <cstdio>
#include <utility>

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisErrors.h>

namespace rxk {

inline Aws::Kinesis::KinesisError unaccountedAnswerError(const char* what, std::size_t answered, std::size_t sent) {
    char text[160];
    std::snprintf(text, sizeof text, "the service's answer accounts for %zu of %zu %s", answered, sent, what);
    Aws::Kinesis::KinesisError error;
    error.SetMessage(Aws::String(text));
    return error;
}

// PutRecords: one result entry per record sent.
template <typename Outcome>
Outcome accountedOrFailed(Outcome&& outcome, std::size_t recordsSent) {
    if (!outcome.IsSuccess()) return std::move(outcome);
    const std::size_t answered = outcome.GetResult().GetRecords().size();
    if (answered == recordsSent) return std::move(outcome);
    return Outcome(unaccountedAnswerError("records", answered, recordsSent));
}

}  // namespace rxk
