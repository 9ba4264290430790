// The secret in the page's address.
#ifndef SIM_WEB_TOKEN_H
#define SIM_WEB_TOKEN_H

#include <string>

namespace web {

/// The user's token: 128 random bits as hexadecimal digits. A file that only the user can read keeps it, so that an
/// open page works after a restart. If the file cannot be used, each call makes a new token.
std::string token();

/// Compares in a time that does not depend on how much is equal.
bool sameSecret(const std::string& one, const std::string& other);

} // namespace web

#endif
