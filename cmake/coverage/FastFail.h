#pragma once

// Read before each source of the coverage build. The fast-fail instruction ends the process with no
// handler run; in place of it the assembler writes the counters and then the instruction.
__asm__(
    ".macro int vector\n"
    "  .ifnc \"\\vector\", \"$0x29\"\n"
    "    .error \"an interrupt other than fast fail\"\n"
    "  .endif\n"
    "  andq $-16, %rsp\n"
    "  subq $32, %rsp\n"
    "  call flushCoverage\n"
    "  .byte 0xCD, 0x29\n"
    ".endm");
