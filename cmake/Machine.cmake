# What the code needs of the machine and the compiler, said and checked here and nowhere else.
#
# - Linux: large files, /dev/null, and the symbol visibility and version scripts of ELF.
# - Little-endian: the stored frame table, the samples delivered to a host and the records exchanged with it are
#   used as they lie in memory.
# - 64-bit pointers: the records exchanged with the host contain pointers at fixed offsets.
# - GCC or Clang: vector types, __builtin_bswap64, __builtin_shufflevector and attributes of theirs.
# - float arithmetic that is rounded to float at every step (FLT_EVAL_METHOD 0): the log curves give the same values
#   on every machine.
# No processor beyond that is presumed: x86-64 and aarch64 give the same pictures.
include(CheckCXXSourceCompiles)

function(krw_require what)
    if(NOT (${ARGN}))
        message(FATAL_ERROR "KRW needs ${what}.")
    endif()
endfunction()

krw_require("Linux, not ${CMAKE_SYSTEM_NAME}" CMAKE_SYSTEM_NAME STREQUAL Linux)
krw_require("a little-endian machine" CMAKE_CXX_BYTE_ORDER STREQUAL LITTLE_ENDIAN)
krw_require("64-bit pointers" CMAKE_SIZEOF_VOID_P EQUAL 8)
krw_require("GCC or Clang, not ${CMAKE_CXX_COMPILER_ID}" CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")

check_cxx_source_compiles("
    #include <cfloat>
    static_assert(FLT_EVAL_METHOD == 0);
    using Words [[gnu::vector_size(16)]] = unsigned short;
    Words odd(Words a, Words b) { return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15); }
    int main() { return static_cast<int>(odd(Words{}, Words{})[0] + __builtin_bswap64(0)); }" KRW_COMPILER_SUFFICES)
krw_require("a compiler with __builtin_shufflevector (GCC 12, Clang 14) and FLT_EVAL_METHOD 0" KRW_COMPILER_SUFFICES)
