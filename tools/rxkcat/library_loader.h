// Loads librxkinesis.so with dlopen, as a host engine does, and resolves every export.
#pragma once

#include "rxkinesis.h"
#include "rxkinesis_exceptions.h"

#include <string>

namespace rxkcat {

// Every export of the library, by name: one list for the declarations and the lookups.
#define RXKCAT_LIBRARY_EXPORTS(X)                                                              \
    X(InititializeInterface) X(CloseInterface) X(InitLogEventCallBack) X(SetGlobalParam)      \
    X(SetGlobalErrorStr) X(GetGlobalErrorStr) X(CreateClient) X(FreeClient) X(GetErrorStr)    \
    X(SetParam) X(GetParam) X(PutRecord) X(GetLastResultPutRecord) X(CreateListRecord)        \
    X(ClearListRecord) X(FreeListRecord) X(GetListRecordInfo) X(AddRecordToList)              \
    X(PutRecords) X(GetLastResultPutRecords) X(StartShardIterator) X(NextShardIterator)       \
    X(GetRecordFromIterator) X(PollShardIterator) X(StopShardIterator) X(GetRecord)           \
    X(GetData) X(GetListStreams) X(GetListShards) X(GetShardDetails) X(CreateStream) X(Dummy)   \
    X(ReadShardRecord) X(GetListAllStreams) X(GetShardLineage)

struct LibraryApi {
#define RXKCAT_DECLARE_EXPORT(name) decltype(&::name) name = nullptr;
    RXKCAT_LIBRARY_EXPORTS(RXKCAT_DECLARE_EXPORT)
#undef RXKCAT_DECLARE_EXPORT

    // SE_Exception::what lives in the library; the tool calls it through this pointer
    // (the object is its first argument) instead of linking the library.
    const char* (*seExceptionWhat)(SE_Exception*) = nullptr;

    std::string path;  // where the library was loaded from
};

// Finds and loads the library: -l PATH, else $RXKCAT_LIBRARY, else next to the executable
// (build tree, then install tree), else "librxkinesis.so.0" through the loader's search path.
// Throws RunError naming every place tried, or the exports that are missing.
LibraryApi loadLibrary(const std::string& explicitPath);

}  // namespace rxkcat
