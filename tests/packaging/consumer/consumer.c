/* A host linked against librxkinesis (not loaded with dlopen): start, create a client, free it. */
#include <rxkinesis.h>

#include <stdio.h>

int main(void) {
    InititializeInterface();
    int32_t client = CreateClient("us-east-1", "AKIDCONSUMER", "consumer-secret");
    if (client < 0) {
        char error[RXK_ERROR_TEXT_BYTES];
        printf("CreateClient failed: %s\n", GetGlobalErrorStr(error, (int32_t)sizeof error));
        CloseInterface();
        return 1;
    }
    int32_t freed = FreeClient(client);
    CloseInterface();
    printf("rxkinesis consumer: client %d created, FreeClient %d\n", client, freed);
    return freed == RXK_OK ? 0 : 1;
}
