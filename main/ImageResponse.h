// SPDX-License-Identifier: MIT
//
// The response to a request for a status image, including headers.
#pragma once

class WGLVariables;

// "_type" selects the image and "_style" its template. The response is empty if the image doesn't
// exist. The style becomes part of a file name unchanged.
void RespondWithImage(const WGLVariables& variables);
