// The secret in the page's address.
#ifndef SIM_WEB_TOKEN_H
#define SIM_WEB_TOKEN_H

#include <string>

namespace web {

/// The user's token: 128 random bits in hexadecimal digits, kept in a file that only the user can read, so that an open
/// page goes on after a restart. Where none can be kept it is a new one each time.
std::string token();

/// Compares without telling by its time how much was right.
bool sameSecret(const std::string& one, const std::string& other);

} // namespace web

#endif
