// Switches of a mutated source. KR_MUTANT names the one mutant that is on; each switch that is passed leaves
// a mark in the file that KR_MUTANT_REACHED names.
#ifndef KR_MUTANT_H
#define KR_MUTANT_H

extern "C" bool KrMutantIsOn(int number);

// While the compiler evaluates an expression no mutant is on.
constexpr bool KrMutant(int number)
{
    return !__builtin_is_constant_evaluated() && KrMutantIsOn(number);
}

// A changed constant keeps its type, so that the same overloads and templates are chosen.
template <class T>
constexpr T KrMutantSum(T value, int by)
{
    return static_cast<T>(value + static_cast<T>(by));
}

#endif
