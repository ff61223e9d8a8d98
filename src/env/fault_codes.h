// Fault codes carried by SE_Exception, in the Windows numbering that hosts of this library
// already know. The translator picks one per signal; SE_Exception::what names some of them.
#pragma once

namespace rxk {

constexpr unsigned int kAccessViolationCode = 0xC0000005;
constexpr unsigned int kInvalidHandleCode = 0xC0000008;
constexpr unsigned int kIllegalInstructionCode = 0xC000001D;
constexpr unsigned int kArrayBoundsExceededCode = 0xC000008C;
constexpr unsigned int kFloatDivideByZeroCode = 0xC000008E;
constexpr unsigned int kFloatInexactResultCode = 0xC000008F;
constexpr unsigned int kFloatInvalidOperationCode = 0xC0000090;
constexpr unsigned int kFloatOverflowCode = 0xC0000091;
constexpr unsigned int kFloatUnderflowCode = 0xC0000093;
constexpr unsigned int kIntDivideByZeroCode = 0xC0000094;
constexpr unsigned int kIntOverflowCode = 0xC0000095;
constexpr unsigned int kPrivilegedInstructionCode = 0xC0000096;
constexpr unsigned int kStackOverflowCode = 0xC00000FD;

}  // namespace rxk
