// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "apps/nebrix-sign/errors.h"
#include "libs/openssl/rsa_wrapper.h"

/// Keys in PEM files. Each function raises ESign when a file or what it holds cannot be used.
namespace tessel::sign {

/// Gives the password of the encrypted key in the file of this name, or raises ESign. It is asked once, and for no
/// other key.
using AskPassword = std::function<std::string(const std::string& path)>;

/// In the place of a path: the private half of the development key, which everybody has.
inline constexpr std::string_view kDevelopmentKey = "";

/// Without `ask` an encrypted key is an error.
void loadPrivateKey(tls::RSA& key, const std::string& path, const AskPassword& ask);
void loadPublicKey(tls::RSA& key, const std::string& path);

/// Makes an RSA key pair of 2048 bits and writes it as PEM: PKCS #8, not encrypted and readable by its owner alone, and
/// SubjectPublicKeyInfo. Raises ESign when a file is there already, unless forced, or cannot be written; the files are
/// then as they were, except that a private key may be there without its public half.
void writeKeyPair(const std::string& privatePath, const std::string& publicPath, bool force);

/// For AskPassword: the first line of the file, without its line end.
std::string passwordInFile(const std::string& path);
/// For AskPassword: what is typed on the terminal, which does not show it. Raises ESign where there is no terminal.
std::string passwordFromTerminal(const std::string& keyPath);

}  // namespace tessel::sign
