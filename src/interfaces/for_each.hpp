// Macros that walk a parenthesised list of parenthesised rows at compile time: how the interface tables pass parameters.
//
//     LX_EACH(macro, ((BSTR, sName), (LONG, nIndex)))        macro(BSTR, sName), macro(LONG, nIndex)
//     LX_EACH_BEFORE(macro, ((BSTR, sName)))                 macro(BSTR, sName),        <- a comma after every one
//     LX_EACH_AFTER(macro, ((BSTR, sName)))                  , macro(BSTR, sName)       <- a comma before every one
#pragma once

#define LX_PARENS ()
#define LX_EXPAND(...) LX_EXPAND3(LX_EXPAND3(LX_EXPAND3(__VA_ARGS__)))
#define LX_EXPAND3(...) LX_EXPAND2(LX_EXPAND2(LX_EXPAND2(__VA_ARGS__)))
#define LX_EXPAND2(...) __VA_ARGS__

#define LX_EACH(macro, list) LX_EACH_OF(macro, LX_EXPAND2 list)
#define LX_EACH_OF(macro, ...) LX_EACH_START(macro, __VA_ARGS__)
#define LX_EACH_START(macro, ...) __VA_OPT__(LX_EXPAND(LX_EACH_STEP(macro, __VA_ARGS__)))
#define LX_EACH_STEP(macro, first, ...) macro first __VA_OPT__(, LX_EACH_AGAIN LX_PARENS(macro, __VA_ARGS__))
#define LX_EACH_AGAIN() LX_EACH_STEP

#define LX_EACH_BEFORE(macro, list) LX_EACH_BEFORE_OF(macro, LX_EXPAND2 list)
#define LX_EACH_BEFORE_OF(macro, ...) LX_EACH_BEFORE_START(macro, __VA_ARGS__)
#define LX_EACH_BEFORE_START(macro, ...) __VA_OPT__(LX_EXPAND(LX_EACH_BEFORE_STEP(macro, __VA_ARGS__)))
#define LX_EACH_BEFORE_STEP(macro, first, ...) \
    macro first, __VA_OPT__(LX_EACH_BEFORE_AGAIN LX_PARENS(macro, __VA_ARGS__))
#define LX_EACH_BEFORE_AGAIN() LX_EACH_BEFORE_STEP

#define LX_EACH_AFTER(macro, list) LX_EACH_AFTER_OF(macro, LX_EXPAND2 list)
#define LX_EACH_AFTER_OF(macro, ...) LX_EACH_AFTER_START(macro, __VA_ARGS__)
#define LX_EACH_AFTER_START(macro, ...) __VA_OPT__(LX_EXPAND(LX_EACH_AFTER_STEP(macro, __VA_ARGS__)))
#define LX_EACH_AFTER_STEP(macro, first, ...) \
    , macro first __VA_OPT__(LX_EACH_AFTER_AGAIN LX_PARENS(macro, __VA_ARGS__))
#define LX_EACH_AFTER_AGAIN() LX_EACH_AFTER_STEP

// One after the other, with nothing between.
#define LX_SPREAD(macro, list) LX_SPREAD_OF(macro, LX_EXPAND2 list)
#define LX_SPREAD_OF(macro, ...) LX_SPREAD_START(macro, __VA_ARGS__)
#define LX_SPREAD_START(macro, ...) __VA_OPT__(LX_EXPAND(LX_SPREAD_STEP(macro, __VA_ARGS__)))
#define LX_SPREAD_STEP(macro, first, ...) macro first __VA_OPT__(LX_SPREAD_AGAIN LX_PARENS(macro, __VA_ARGS__))
#define LX_SPREAD_AGAIN() LX_SPREAD_STEP

// The parts of one parameter row (type, name[, default]).
#define LX_PARAMETER_DECLARED(type, name, ...) type name
#define LX_PARAMETER_NAME(type, name, ...) name
