/* A host embedding rxkinesis: load it, take its log lines, send one batch, read each outcome.
 * Build: cc embed.c $(pkg-config --cflags rxkinesis) -ldl -o embed
 * Run:   AWS_REGION=... AWS_ACCESS_KEY_ID=... AWS_SECRET_ACCESS_KEY=... ./embed librxkinesis.so.0 STREAM */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <rxkinesis.h>

/* Binds name_ to the export `name`, typed by its declaration in rxkinesis.h; counts misses. */
#define BIND(name) __typeof__(&name) name##_ = (__typeof__(&name))dlsym(library, #name); missing += !name##_

static void onLog(const char* text, int32_t length) { fprintf(stderr, "log: %.*s\n", (int)length, text); }
static void onTrace(const char* text, int32_t length) { (void)text; (void)length; }

int main(int argc, char** argv) {
    void* library = argc == 3 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (!library) { fprintf(stderr, "usage: embed LIBRARY STREAM (%s)\n", argc == 3 ? dlerror() : "two arguments"); return 2; }
    int missing = 0;
    BIND(InitLogEventCallBack); BIND(InititializeInterface); BIND(CloseInterface); BIND(CreateClient);
    BIND(FreeClient); BIND(CreateListRecord); BIND(AddRecordToList); BIND(PutRecords);
    BIND(GetLastResultPutRecords); BIND(FreeListRecord);
    if (missing) { fprintf(stderr, "%s lacks %d rxkinesis exports\n", argv[1], missing); return 1; }

    InitLogEventCallBack_(onLog, onTrace);
    InititializeInterface_();
    int32_t client = CreateClient_(getenv("AWS_REGION"), getenv("AWS_ACCESS_KEY_ID"), getenv("AWS_SECRET_ACCESS_KEY"));
    if (client < 0) { CloseInterface_(); return 1; }  /* the reason went to onLog */
    int32_t list = CreateListRecord_(client);
    const char* records[] = {"alpha", "beta", "gamma"};
    for (int i = 0; i < 3; i++) AddRecordToList_(client, list, NULL, NULL, records[i], (int32_t)strlen(records[i]));

    int32_t put = 0, failed = 0;
    int32_t result = PutRecords_(client, list, argv[2], &put, &failed, NULL, NULL, "embed");
    printf("PutRecords: %d (%d put, %d failed)\n", result, put, failed);
    for (int32_t i = 0; i < put; i++) {
        char shard[RXK_NAME_BYTES] = "", sequence[RXK_ERROR_TEXT_BYTES] = "", error[RXK_ERROR_TEXT_BYTES] = "";
        unsigned char success = 0;
        GetLastResultPutRecords_(client, list, i, NULL, shard, sequence, &success, NULL, NULL, error, NULL);
        printf("%d %s %s %s%s\n", i, success ? "ok" : "failed", shard, sequence, error);
    }

    FreeListRecord_(client, list);
    FreeClient_(client);
    CloseInterface_();
    return result == RXK_OK ? 0 : 1;
}
