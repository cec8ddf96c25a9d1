#ifndef LOG_API_PRINTF_FORMAT_H_
#define LOG_API_PRINTF_FORMAT_H_

// Lets the compiler check the arguments of a printf-style function against its
// format. The positions count from 1; in a member function `this` is the first.
// `firstArgument` is 0 where the arguments come as a va_list. GCC and clang both
// know the attribute; there is no standard one.
#define DUNMAR_PRINTF_FORMAT(formatPosition, firstArgument) \
  __attribute__((format(printf, formatPosition, firstArgument)))

#endif  // LOG_API_PRINTF_FORMAT_H_
