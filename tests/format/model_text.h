// What a document means, as text: everything that its model holds, and what loading says.
#pragma once

#include <string>
#include <string_view>

/// \param bytes of the document. \param path where it stands, or would: files of its library are looked for beside it.
/// \throws std::runtime_error when it is not well-formed.
std::string modelText(std::string_view bytes, const std::string& path);
