// GetLastResultPutRecords: the outcome of one record of a list's latest send.
#include "producer/record_list.h"

namespace rxk {

int32_t KinesisEnv::getLastResult(int32_t, int32_t, char*, char*, char*, unsigned char*, char*, char*, char*,
                                  uint32_t*) {
    return -1;
}

}  // namespace rxk
