// SPDX-License-Identifier: MIT
//
// What the pages do with scripts; all of them work without. The rule: texts of the device and of the
// request reach the document through textContent alone.
'use strict';
