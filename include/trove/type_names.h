// The names of the host's type identifiers, indexed by TypeId (0..63), as
// they stand in store files ("tDWORD"). Ids without a name have "".
#pragma once

#include <cstdint>

namespace trove {

inline constexpr const char* kTypeNames[64] = {
    "",               // 0
    "tVOID",          // 1
    "tBYTE",          // 2
    "tWORD",          // 3
    "tDWORD",         // 4
    "tQWORD",         // 5
    "tBOOL",          // 6
    "tCHAR",          // 7
    "tWCHAR",         // 8
    "tSTRING",        // 9
    "tWSTRING",       // 10
    "tERROR",         // 11
    "tPTR",           // 12
    "tINT",           // 13
    "tUINT",          // 14
    "tSBYTE",         // 15
    "",               // 16
    "tSHORT",         // 17
    "tLONG",          // 18
    "tLONGLONG",      // 19
    "tIID",           // 20
    "tPID",           // 21
    "tORIG_ID",       // 22
    "tOS_ID",         // 23
    "tVID",           // 24
    "tPROPID",        // 25
    "tVERSION",       // 26
    "tCODEPAGE",      // 27
    "tLCID",          // 28
    "tDATA",          // 29
    "tDATETIME",      // 30
    "tFUNC_PTR",      // 31
    "tDOUBLE",        // 32
    "",               // 33
    "",               // 34
    "",               // 35
    "",               // 36
    "",               // 37
    "",               // 38
    "",               // 39
    "",               // 40
    "",               // 41
    "",               // 42
    "",               // 43
    "",               // 44
    "",               // 45
    "",               // 46
    "",               // 47
    "tBINARY",        // 48
    "tIFACEPTR",      // 49
    "tOBJECT",        // 50
    "tEXPORT",        // 51
    "tIMPORT",        // 52
    "tTRACE_LEVEL",   // 53
    "tTYPE_ID",       // 54
    "tVECTOR",        // 55
    "tSTRING_OBJ",    // 56
    "tSERIALIZABLE",  // 57
    "tBUFFER",        // 58
    "tSTR_DSC",       // 59
    "tSIZE_T",        // 60
    "tIMPL_ID",       // 61
    "tMSG_ID",        // 62
    "tMSGCLS_ID",     // 63
};

}  // namespace trove
