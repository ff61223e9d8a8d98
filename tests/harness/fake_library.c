/* A stand-in for librxkinesis.so with every export as an empty function, so the loader's own
 * tests don't wait for the real library. Built twice: whole, and without Dummy
 * (RXK_FAKE_WITHOUT_DUMMY) to see the loader name a missing export. */
#define RXK_FAKE_EXPORT(name) __attribute__((visibility("default"))) void name(void) {}

RXK_FAKE_EXPORT(InititializeInterface)
RXK_FAKE_EXPORT(CloseInterface)
RXK_FAKE_EXPORT(InitLogEventCallBack)
RXK_FAKE_EXPORT(SetGlobalParam)
RXK_FAKE_EXPORT(SetGlobalErrorStr)
RXK_FAKE_EXPORT(GetGlobalErrorStr)
RXK_FAKE_EXPORT(CreateClient)
RXK_FAKE_EXPORT(FreeClient)
RXK_FAKE_EXPORT(GetErrorStr)
RXK_FAKE_EXPORT(SetParam)
RXK_FAKE_EXPORT(GetParam)
RXK_FAKE_EXPORT(PutRecord)
RXK_FAKE_EXPORT(GetLastResultPutRecord)
RXK_FAKE_EXPORT(CreateListRecord)
RXK_FAKE_EXPORT(ClearListRecord)
RXK_FAKE_EXPORT(FreeListRecord)
RXK_FAKE_EXPORT(GetListRecordInfo)
RXK_FAKE_EXPORT(AddRecordToList)
RXK_FAKE_EXPORT(PutRecords)
RXK_FAKE_EXPORT(GetLastResultPutRecords)
RXK_FAKE_EXPORT(StartShardIterator)
RXK_FAKE_EXPORT(NextShardIterator)
RXK_FAKE_EXPORT(GetRecordFromIterator)
RXK_FAKE_EXPORT(PollShardIterator)
RXK_FAKE_EXPORT(StopShardIterator)
RXK_FAKE_EXPORT(GetRecord)
RXK_FAKE_EXPORT(GetData)
RXK_FAKE_EXPORT(GetListStreams)
RXK_FAKE_EXPORT(GetListShards)
RXK_FAKE_EXPORT(GetShardDetails)
RXK_FAKE_EXPORT(CreateStream)
#ifndef RXK_FAKE_WITHOUT_DUMMY
RXK_FAKE_EXPORT(Dummy)
#endif
