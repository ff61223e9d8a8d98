// Turns processor faults (SIGSEGV, SIGBUS, SIGFPE, SIGILL) raised inside the library into C++
// exceptions on the faulting thread. A thread that installed the translator gets an
// SE_Exception carrying the Windows-style code (0xC0000005 for an access violation); a thread
// without it gets an object that only catch (...) receives. Faults outside the library go to
// whatever handler was there before. The handlers are restored when the library is unloaded.
#pragma once

namespace rxk {

// Installs the translator for the calling thread (and the process-wide handlers, once).
void installFaultTranslator() noexcept;

// True when the calling thread has installed the translator.
bool faultTranslatorInstalled() noexcept;

}  // namespace rxk
