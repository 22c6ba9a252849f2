// Addresses of cameras as messages may show them: what could be a password is left out.

#ifndef LOCALSTORAGE_TOOL_BASE_ADDRESS_H
#define LOCALSTORAGE_TOOL_BASE_ADDRESS_H

#include <string>

/// An address without its user and password, as messages show it. Where it is not clear what of it
/// is secret, "..." stands for more. What is no address stays as it is.
std::string WithoutPassword(const std::string& strAddress);

/// A text with every address in it treated so.
std::string WithoutPasswords(const std::string& strText);

#endif  // LOCALSTORAGE_TOOL_BASE_ADDRESS_H
