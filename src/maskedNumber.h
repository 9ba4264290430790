/// A telephone number for the log, which others read.
#ifndef MASKEDNUMBER_H
#define MASKEDNUMBER_H

#include <cstddef>
#include <string>

/// Any thread. @return @p number with each of its last four digits replaced by '*'. The rest
/// shows its form, such as a missing country code.
inline std::string maskedNumber(std::string number)
{
    int hidden = 0;
    for (size_t i = number.size(); i-- > 0 && hidden < 4;) {
        if (number[i] >= '0' && number[i] <= '9') {
            number[i] = '*';
            ++hidden;
        }
    }
    return number;
}

#endif
