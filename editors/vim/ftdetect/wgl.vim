" SPDX-License-Identifier: MIT
autocmd BufRead,BufNewFile *.wgl setfiletype wgl
