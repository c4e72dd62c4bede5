// SPDX-License-Identifier: MIT
//
// The device's configuration as a file to keep: what a request for "syscfg" is answered with.
#pragma once

class WGLVariables;

// Writes the whole response that the variable "_type" asks for, headers included; nothing for an
// unknown type, or when the system manager names no file that can be opened. Each file is removed
// once it has been delivered; the system log tells of it.
//
//   ac    the automatic configuration, a file that the system manager makes
//   cfg   the enciphered configuration, likewise
//   xml   the configuration as the system manager writes it, named after the product
void DeliverConfiguration(const WGLVariables& variables);
