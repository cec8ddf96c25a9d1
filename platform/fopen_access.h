#ifndef PLATFORM_FOPEN_ACCESS_H_
#define PLATFORM_FOPEN_ACCESS_H_

namespace platform {

// The access (O_RDONLY, O_RDWR) with which `fopen` opens a file for the mode text "rw+", which is
// none of the standard's: glibc finds the "+" behind a letter that it passes over and opens for
// reading and writing; BSD's and macOS's stop at that letter and open for reading.
//
// Source: fopen(3) of the GNU C library and of FreeBSD.
[[nodiscard]] int AccessOfReadWritePlus();

}  // namespace platform

#endif  // PLATFORM_FOPEN_ACCESS_H_
