// SPDX-License-Identifier: MIT
//
// The response to a request for a status image, headers included.
#pragma once

class WGLVariables;

// "_type" says which image, "_style" whose template; an image that doesn't exist has no bytes. The
// style is part of a file name as it came.
void RespondWithImage(const WGLVariables& variables);
