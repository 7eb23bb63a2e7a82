// Constants of the container file format.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_FORMAT_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_FORMAT_H_

// The 8 bytes that begin every pool header: 0x89, "SIM", CR, LF, 0x1A, LF.
inline constexpr unsigned char kKVTSimRpmFormatSignature[8] = {0x89, 0x53, 0x49, 0x4D,
                                                               0x0D, 0x0A, 0x1A, 0x0A};

// The format version this library writes, stored right after the signature.
inline constexpr unsigned kKVTSimRpmFormatVersion = 6;

// Bytes of signature and version that the file-type probe reads.
inline constexpr unsigned kKVTSimRpmProbeLength = 9;

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_FORMAT_H_
