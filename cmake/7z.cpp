#include <stdlib.h>

/*
 * Stands in for 7z.so, which the distribution's libbacktrace refers to and can be installed for one
 * architecture only, the native one. libbacktrace calls it to unpack symbols of stripped libraries
 * while it walks a stack, which no program here has it do.
 */
extern "C" {
void CrcGenerateTable() {
    abort();
}
void Crc64GenerateTable() {
    abort();
}
void XzUnpacker_Construct() {
    abort();
}
void XzUnpacker_Code() {
    abort();
}
void XzUnpacker_IsStreamWasFinished() {
    abort();
}
void XzUnpacker_Free() {
    abort();
}
}
