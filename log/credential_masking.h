#ifndef LOG_CREDENTIAL_MASKING_H_
#define LOG_CREDENTIAL_MASKING_H_

#include <string>
#include <string_view>
#include <vector>

// Keeps user names and passwords that travel in XML-like text out of a log.

namespace dunmar {

// Appends the nine names of credential elements, in the order in which they are masked.
void InitMaskedKeys(std::vector<std::string>& maskedKeys);

// Replaces the content of the first element of each key by "****". `out` holds a copy of `text` and
// then the masked text; without such an element it is left alone. Tags match in any case, without
// attributes or blanks; an empty element stays.
//
//   "<User>bob</User>" -> "<User>****</User>"
//
// The closing tag is searched from the beginning of the text, on purpose, so one that stands before
// the opening tag repeats what is between them:
//
//   "</user>x<user>y" -> "</user>x<user>****</user>x<user>y"
void MaskCredentials(const std::vector<std::string>& maskedKeys, std::string_view text,
                     std::string& out);

}  // namespace dunmar

#endif  // LOG_CREDENTIAL_MASKING_H_
