// Record lists: create, append, clear, free and inspect.
#include "producer/record_list.h"

namespace rxk {

int32_t KinesisEnv::createListRecord() { return -1; }
int32_t KinesisEnv::clearListRecord(int32_t) { return 0; }
int32_t KinesisEnv::freeListRecord(int32_t) { return -1; }
int32_t KinesisEnv::getListRecordInfo(int32_t, uint32_t*, uint32_t*) { return -1; }
int32_t KinesisEnv::addRecordToList(int32_t, const char*, const char*, const void*, int32_t) { return -1; }

}  // namespace rxk
