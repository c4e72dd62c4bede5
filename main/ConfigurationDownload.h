// SPDX-License-Identifier: MIT
//
// The response to a request for "syscfg": the device's configuration as a file.
#pragma once

class WGLVariables;

// Writes the whole response that the variable "_type" asks for, including headers. Writes nothing
// for an unknown type, or when the system manager names no file that can be opened. Logs the
// delivery of a file and removes the file, even if the delivery failed.
//
//   ac    the automatic configuration, a file that the system manager makes
//   cfg   the enciphered configuration, likewise
//   xml   the configuration as the system manager writes it, named after the product
void DeliverConfiguration(const WGLVariables& variables);
