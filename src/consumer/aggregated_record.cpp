#include "consumer/aggregated_record.h"

namespace rxk {

bool expandAggregatedRecord(const Aws::Utils::ByteBuffer&, Aws::Vector<AggregatedUserRecord>* out) {
    out->clear();
    return false;
}

}  // namespace rxk
