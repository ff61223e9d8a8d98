/*
 * The two exception classes that can leave rxkinesis, for C++ hosts.
 *
 * SE_Exception: a processor fault (access violation, division by zero, ...) inside the library,
 * on a thread that has the fault translator (InititializeInterface, or SetParam
 * "exceptiontranslator"). `code` holds the fault's code in the Windows numbering
 * (0xC0000005 for an access violation) and what() names it.
 * RX_Exception: thrown by the probe Dummy("exception7").
 *
 * Neither derives from std::exception: catch them by reference, by name.
 * On a thread without the translator, a fault inside the library arrives as an object that
 * only a catch (...) clause receives.
 */
#ifndef RXKINESIS_EXCEPTIONS_H
#define RXKINESIS_EXCEPTIONS_H

#ifdef __cplusplus

#include "rxkinesis.h"

class RXK_API SE_Exception {
public:
    explicit SE_Exception(unsigned int faultCode) : code(faultCode) { message[0] = '\0'; }
    /* Writes the name of `code` into `message` and returns it, e.g.
     * "SE_Exception: Access Violation", or "SE_Exception: 0xC0000096" for unnamed codes. */
    const char* what();

    unsigned int code;
    char message[50];
};

class RXK_API RX_Exception {
public:
    /* Stores "RX_Exception: <text>", cut to the 1024-byte field. */
    explicit RX_Exception(const char* text);
    const char* what() const { return message; }

    char message[1024];
};

#endif /* __cplusplus */
#endif /* RXKINESIS_EXCEPTIONS_H */
