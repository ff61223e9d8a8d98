// -J: a record as one line of JSON.
#pragma once

#include "record_format.h"

#include <string>

namespace rxkcat {

// {"stream":..,"shard":..,"partitionKey":..,"sequenceNumber":..[,"subSequenceNumber":N],
//  "arrivalTime":MS,"data":..} and a newline. Data that is valid UTF-8 goes as a JSON string;
// other data as base64, with "dataEncoding":"base64".
void appendJsonRecord(const RecordView& record, std::string& out);

}  // namespace rxkcat
