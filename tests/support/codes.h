// Variable-length codes as strings of bits.
#ifndef QVOVC_TESTS_CODES_H
#define QVOVC_TESTS_CODES_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

// The low `length` bits of a value.
inline std::string binary(std::int64_t value, int length) {
    std::string text;
    for (int i = length - 1; i >= 0; --i)
        text += (value >> i & 1) != 0 ? '1' : '0';
    return text;
}

// Calls add(code, run, level) for the codes of the levels from 1 up; '/' leads to the next run.
template <class Add>
void forEachCode(const std::string& text, Add add) {
    std::istringstream words(text);
    int run = 0, level = 0;
    for (std::string code; words >> code;) {
        if (code == "/") {
            ++run;
            level = 0;
        } else {
            add(code, run, ++level);
        }
    }
}

// The part of all streams that begin with one of the codes; 2 if one code begins another.
inline double codeSpace(std::vector<std::string> codes) {
    std::sort(codes.begin(), codes.end());
    double sum = 0;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        if (i > 0 && codes[i].starts_with(codes[i - 1])) return 2;
        sum += std::ldexp(1.0, -static_cast<int>(codes[i].size()));
    }
    return sum;
}

#endif
