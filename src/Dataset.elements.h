// Element arithmetic shared by the dataset templates.
//
// Arithmetic between two elements happens in the element type's own
// arithmetic: for integer types the exact result is wrapped back into T, as
// the compound assignment of the language does after promotion. The exact
// result is formed in 64 bits first, so that an int overflow wraps instead
// of being undefined. An integer division by zero gives 0 rather than
// stopping the host program.
#ifndef KINETRA_DATASET_ELEMENTS_H
#define KINETRA_DATASET_ELEMENTS_H

#include <type_traits>

namespace elements {

template <class T>
inline T add(T a, T b) {
    if constexpr (std::is_floating_point<T>::value) return a + b;
    else return static_cast<T>(static_cast<long long>(a) + static_cast<long long>(b));
}

template <class T>
inline T subtract(T a, T b) {
    if constexpr (std::is_floating_point<T>::value) return a - b;
    else return static_cast<T>(static_cast<long long>(a) - static_cast<long long>(b));
}

template <class T>
inline T multiply(T a, T b) {
    if constexpr (std::is_floating_point<T>::value) return a * b;
    else return static_cast<T>(static_cast<long long>(a) * static_cast<long long>(b));
}

template <class T>
inline T divide(T a, T b) {
    if constexpr (std::is_floating_point<T>::value) return a / b;
    else return b == 0 ? T(0) : static_cast<T>(static_cast<long long>(a) / static_cast<long long>(b));
}

// The four operations as function objects, so that one loop serves all.
struct Add {
    template <class T>
    T operator()(T a, T b) const { return add(a, b); }
};
struct Subtract {
    template <class T>
    T operator()(T a, T b) const { return subtract(a, b); }
};
struct Multiply {
    template <class T>
    T operator()(T a, T b) const { return multiply(a, b); }
};
struct Divide {
    template <class T>
    T operator()(T a, T b) const { return divide(a, b); }
};

}  // namespace elements

#endif
