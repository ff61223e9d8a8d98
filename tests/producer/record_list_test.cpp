// Record lists through the exports: limits at their boundaries, list ids and their reuse, the
// -1 of "all lists", and the free-slot paths. No request goes to a service here.
#include "producer_fixture.h"

#include <string>
#include <thread>

namespace rxk::test {
namespace {

const std::string kTenBytes = "0123456789";

// Row limit: an off-by-one would refuse the 500th record or accept the 501st.
TEST_F(ProducerTest, RowLimitAcceptsExactlyMaxPutRowRecords) {
    const int32_t client = createClient();
    const int32_t list = createList(client);
    for (int i = 0; i < 500; ++i) ASSERT_EQ(add(client, list, kTenBytes), RXK_OK) << i;
    LogCapture::reset();

    EXPECT_EQ(add(client, list, kTenBytes), RXK_ROW_LIMIT);
    EXPECT_EQ(lastError(client), "id:" + std::to_string(client) + " KinesisEnv::addRecordToList listId:" +
                                     std::to_string(list) + " error request can only support 500 records");
    EXPECT_TRUE(LogCapture::logTexts().empty()) << "the limit lines go to the last-error text only";
    const auto state = info(client, list);
    EXPECT_EQ(state.result, RXK_OK);
    EXPECT_EQ(state.count, 500u);
    EXPECT_EQ(state.bytes, 500u * (10 + 2));
}

TEST_F(ProducerTest, RowLimitZeroRefusesEveryRecord) {
    const int32_t client = createClient();
    const int32_t list = createList(client);
    setParam(client, "maxputrow", "0");
    EXPECT_EQ(add(client, list, kTenBytes), RXK_ROW_LIMIT);
    EXPECT_EQ(add(client, list, kTenBytes, nullptr, nullptr), RXK_ROW_LIMIT);
    EXPECT_EQ(info(client, list).count, 0u);
    EXPECT_NE(lastError(client).find("error request can only support 0 records"), std::string::npos);
}

// Size limit: the sum of both keys, the data and the gathered size must stay below maxputlen,
// and only data and partition key are gathered.
TEST_F(ProducerTest, SizeEqualToLimitIsRefusedOneByteLessPasses) {
    const int32_t client = createClient();
    const int32_t list = createList(client);
    setParam(client, "maxputlen", "100");
    // "pk" + "12" + 96 data bytes = 100: refused.
    EXPECT_EQ(add(client, list, std::string(96, 'a'), "pk", "12"), RXK_SIZE_LIMIT);
    EXPECT_EQ(lastError(client), "id:" + std::to_string(client) + " KinesisEnv::addRecordToList listId:" +
                                     std::to_string(list) + " error request limited to 100 Mo");
    EXPECT_EQ(info(client, list).count, 0u);
    // One byte less: accepted, and the hash key is not gathered.
    EXPECT_EQ(add(client, list, std::string(95, 'a'), "pk", "12"), RXK_OK);
    auto state = info(client, list);
    EXPECT_EQ(state.count, 1u);
    EXPECT_EQ(state.bytes, 97u);
    // The gathered 97 count for the next record: 97 + 2 + 0 + 1 = 100 is refused, even
    // without a hash key; a zero-length partition key with one byte passes (98 < 100).
    EXPECT_EQ(add(client, list, "x", "pk"), RXK_SIZE_LIMIT);
    EXPECT_EQ(add(client, list, "x", ""), RXK_OK);
    state = info(client, list);
    EXPECT_EQ(state.count, 2u);
    EXPECT_EQ(state.bytes, 98u);
}

// A random key stands for both keys: counted twice in the test, once in the gathered size.
TEST_F(ProducerTest, RandomKeyCountsTwiceInTheTestAndOnceInTheSize) {
    const int32_t client = createClient();
    const int32_t list = createList(client);
    ASSERT_EQ(add(client, list, kTenBytes, nullptr, nullptr), RXK_OK);
    const uint32_t gathered = info(client, list).bytes;
    // A random key has 21 to 39 digits; counted once.
    EXPECT_GE(gathered, 10u + 21u);
    EXPECT_LE(gathered, 10u + 39u);

    // A fresh list under a limit of 10 + 40: a key counted once (at most 49) would pass,
    // counted twice (at least 52) it can't.
    const int32_t second = createList(client);
    setParam(client, "maxputlen", "50");
    EXPECT_EQ(add(client, second, kTenBytes, nullptr, nullptr), RXK_SIZE_LIMIT);
    EXPECT_EQ(info(client, second).count, 0u);
}

// Negative limits compare as unsigned: they lift the limit instead of refusing everything.
TEST_F(ProducerTest, NegativeLimitsLiftTheLimits) {
    const int32_t client = createClient();
    const int32_t list = createList(client);
    setParam(client, "maxputrow", "-1");
    for (int i = 0; i < 501; ++i) ASSERT_EQ(add(client, list, "x"), RXK_OK) << i;
    EXPECT_EQ(info(client, list).count, 501u);

    setParam(client, "maxputlen", "-1");
    const std::string big(5000001, 'b');  // beyond the default limit of 5000000
    EXPECT_EQ(add(client, list, big), RXK_OK);
    EXPECT_EQ(info(client, list).bytes, 501u * 3 + 5000001u + 2);
}

// List ids: the lowest free slot is taken first, and -1 frees all so ids restart at 0.
TEST_F(ProducerTest, ListIdsReuseTheLowestFreeSlot) {
    const int32_t client = createClient();
    EXPECT_EQ(createList(client), 0);
    EXPECT_EQ(createList(client), 1);
    EXPECT_EQ(createList(client), 2);
    EXPECT_TRUE(LogCapture::traceContains("KinesisEnv::createListRecord listId:2 [new]"));
    EXPECT_EQ(lib_->FreeListRecord(client, 1), RXK_OK);
    EXPECT_EQ(lib_->FreeListRecord(client, 1), RXK_OK) << "freeing a free slot is silent";
    LogCapture::reset();
    EXPECT_EQ(createList(client), 1);
    EXPECT_TRUE(LogCapture::traceContains("id:" + std::to_string(client) +
                                          " KinesisEnv::createListRecord listId:1 [reuse]"));
    EXPECT_EQ(createList(client), 3);

    EXPECT_EQ(lib_->FreeListRecord(client, -1), RXK_OK);
    LogCapture::reset();
    EXPECT_EQ(createList(client), 0);
    EXPECT_TRUE(LogCapture::traceContains("KinesisEnv::createListRecord listId:0 [new]"));
}

// Unknown ids: a clear answers 0 but leaves its line, a free answers -1; -1 means "all lists"
// only to those two.
TEST_F(ProducerTest, UnknownListIdsAreReportedPerOperation) {
    const int32_t client = createClient();
    const std::string prefix = "id:" + std::to_string(client) + " KinesisEnv::";
    EXPECT_EQ(lib_->ClearListRecord(client, -1), RXK_OK) << "no lists at all";
    const int32_t list = createList(client);

    EXPECT_EQ(lib_->ClearListRecord(client, list + 5), RXK_OK);
    EXPECT_EQ(lastError(client), prefix + "clearListRecord listId:" + std::to_string(list + 5) + " not found");
    EXPECT_TRUE(LogCapture::logContains(prefix + "clearListRecord listId:" + std::to_string(list + 5)));

    EXPECT_EQ(lib_->FreeListRecord(client, list + 5), RXK_ERROR);
    EXPECT_EQ(lastError(client), prefix + "freeListRecord list [" + std::to_string(list + 5) + "] not found");
    EXPECT_EQ(lib_->FreeListRecord(client, -2), RXK_ERROR);

    EXPECT_EQ(add(client, -1, kTenBytes), RXK_ERROR);
    EXPECT_EQ(lastError(client), prefix + "addRecordToList list [-1] not found");
    uint32_t count = 7;
    EXPECT_EQ(lib_->GetListRecordInfo(client, -1, &count, nullptr), RXK_ERROR);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(lastError(client), prefix + "getListRecordInfo listId:-1 not found");
    EXPECT_EQ(lib_->GetListRecordInfo(client, list, nullptr, nullptr), RXK_OK);
}

// Clear empties entries and size of one list or of all, and keeps the lists themselves.
TEST_F(ProducerTest, ClearEmptiesOneListOrAll) {
    const int32_t client = createClient();
    const int32_t first = createList(client);
    const int32_t second = createList(client);
    ASSERT_EQ(add(client, first, kTenBytes), RXK_OK);
    ASSERT_EQ(add(client, second, kTenBytes), RXK_OK);
    ASSERT_EQ(add(client, second, kTenBytes), RXK_OK);

    EXPECT_EQ(lib_->ClearListRecord(client, first), RXK_OK);
    EXPECT_EQ(info(client, first).count, 0u);
    EXPECT_EQ(info(client, first).bytes, 0u);
    EXPECT_EQ(info(client, second).count, 2u);

    EXPECT_EQ(lib_->ClearListRecord(client, -1), RXK_OK);
    EXPECT_EQ(info(client, second).count, 0u);
    EXPECT_EQ(info(client, second).bytes, 0u);
    EXPECT_EQ(add(client, second, kTenBytes), RXK_OK) << "a cleared list takes records again";
    EXPECT_EQ(info(client, second).bytes, 12u);
}

// A free slot is never read: the operations report it and touch no other list.
TEST_F(ProducerTest, FreeSlotIsReportedAndNothingIsAppended) {
    const int32_t client = createClient();
    const int32_t kept = createList(client);
    const int32_t freed = createList(client);
    ASSERT_EQ(lib_->FreeListRecord(client, freed), RXK_OK);
    const std::string prefix = "id:" + std::to_string(client) + " KinesisEnv::";
    lib_->SetParam(client, "nosuchparam", "");  // a known last-error text
    const std::string before = lastError(client);

    EXPECT_EQ(add(client, freed, kTenBytes), RXK_ERROR);
    EXPECT_TRUE(LogCapture::logContains(prefix + "addRecordToList ListId:" + std::to_string(freed) +
                                        " PutRecordsData NULL"));
    EXPECT_EQ(lib_->ClearListRecord(client, freed), RXK_OK);
    EXPECT_TRUE(LogCapture::logContains(prefix + "clearListRecord ListId:" + std::to_string(freed) +
                                        " PutRecordsData NULL"));
    EXPECT_EQ(lastError(client), before) << "the free-slot lines leave the last-error text";
    EXPECT_EQ(info(client, kept).count, 0u);
    EXPECT_EQ(createList(client), freed) << "the slot is still free";
    EXPECT_EQ(info(client, freed).count, 0u);
}

// GetListRecordInfo on a free slot: with nothing to write it answers 0 after its line; asked for
// a count or a size it reports the failed read as an exception (-5) with the stage reached.
TEST_F(ProducerTest, ListInfoOnAFreeSlotEndsInTheExceptionPath) {
    const int32_t client = createClient();
    createList(client);
    const int32_t freed = createList(client);
    ASSERT_EQ(lib_->FreeListRecord(client, freed), RXK_OK);
    const std::string exceptionLine = "id:" + std::to_string(client) + " KinesisEnv::getListRecordInfo listId:" +
                                      std::to_string(freed) + " step:";

    EXPECT_EQ(lib_->GetListRecordInfo(client, freed, nullptr, nullptr), RXK_OK);
    EXPECT_TRUE(LogCapture::logContains("KinesisEnv::getListRecordInfo ListId:" + std::to_string(freed) +
                                        " PutRecordsData NULL"));

    // This thread installed the fault translator (InititializeInterface): an access violation.
    uint32_t count = 99;
    uint32_t bytes = 99;
    EXPECT_EQ(lib_->GetListRecordInfo(client, freed, &count, &bytes), RXK_EXCEPTION);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(lastError(client), exceptionLine + "4 size:2 Exception:[SE_Exception: Access Violation]");
    EXPECT_TRUE(LogCapture::logContains(exceptionLine + "4 size:2 Exception:[SE_Exception: Access Violation]"));

    // A thread without the translator gets the nameless form, here at the size stage.
    int32_t result = 0;
    std::thread plain([&] { result = lib_->GetListRecordInfo(client, freed, nullptr, &bytes); });
    plain.join();
    EXPECT_EQ(result, RXK_EXCEPTION);
    EXPECT_EQ(lastError(client), exceptionLine + "5 size:2 Exception:[unknow]");
}

// The trace lines show the arguments as given, not a drawn random key.
TEST_F(ProducerTest, AppendTraceLinesShowTheArguments) {
    const int32_t client = createClient();
    const int32_t list = createList(client);
    LogCapture::reset();
    ASSERT_EQ(add(client, list, kTenBytes, nullptr, nullptr), RXK_OK);
    ASSERT_EQ(add(client, list, kTenBytes, "p", "7"), RXK_OK);
    const std::string prefix = "id:" + std::to_string(client) + " KinesisEnv::addRecordToList listId:" +
                               std::to_string(list);
    const auto lines = LogCapture::traceTexts();
    EXPECT_EQ(countLines(lines, prefix + " partitionKey:NULL explicitHashKey:NULL lenData:10"), 1u);
    EXPECT_EQ(countLines(lines, prefix + " lenData:10 sizeList:1 [PK]:[NULL] [HK]:[NULL]"), 1u);
    EXPECT_EQ(countLines(lines, prefix + " partitionKey:OK explicitHashKey:OK lenData:10"), 1u);
    EXPECT_EQ(countLines(lines, prefix + " lenData:10 sizeList:2 [PK]:[p] [HK]:[7]"), 1u);
}

}  // namespace
}  // namespace rxk::test
