// Statuses: every argument that an operation refuses, and the order in which it tests them.
#ifndef QVOVC_TESTS_STATUSES_H
#define QVOVC_TESTS_STATUSES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <vector>

#include "qvovc.h"

// A status that each of the values gives in each of the arguments. Numbers take the value; pointers become null for 0,
// or else move by the value (in bytes); pointers to a stream and to its bit offset, unless null, point to a null pointer
// and to the value.
struct Fault {
    QvoStatus status;
    std::vector<std::size_t> arguments;
    std::vector<int> values = {0};
};

namespace statuses {

template <class T>
void spoil(T**& ppBitStream, int value) {
    static T* nowhere = nullptr;
    ppBitStream = value == 0 ? nullptr : &nowhere;
}
inline void spoil(Qvo32s*& pBitOffset, int value) {
    static Qvo32s offset;
    offset = value;
    pBitOffset = value == 0 ? nullptr : &offset;
}
template <class T>
void spoil(T*& pointer, int value) {
    pointer =
        value == 0 ? nullptr : reinterpret_cast<T*>(reinterpret_cast<std::size_t>(pointer) + std::size_t(value));
}
template <class T>
requires std::is_arithmetic_v<T>
void spoil(T& number, int value) {
    number = static_cast<T>(value);
}

template <class... P>
void spoilArgument(std::tuple<P...>& arguments, std::size_t which, int value) {
    std::apply(
        [&](P&... p) {
            std::size_t i = 0;
            ((i++ == which ? spoil(p, value) : void()), ...);
        },
        arguments);
}

}  // namespace statuses

// Calls an operation with valid arguments, then with each fault, alone and together with one of every fault behind it:
// the faults stand in the order in which they are tested. On failure `memory`, all that the operation could write, stays
// as it is.
template <class Memory, class... P>
void expectStatuses(Memory& memory, QvoStatus (*operation)(P...), std::type_identity_t<std::tuple<P...>> valid,
                    const std::vector<Fault>& faults, int line = __builtin_LINE()) {
    const Memory before = memory;
    EXPECT_EQ(qvoStatusOk, std::apply(operation, valid)) << "line " << line;
    auto spoiled = valid;  // by the faults behind the one at work
    for (auto fault = faults.rbegin(); fault != faults.rend(); ++fault) {
        for (const std::size_t argument : fault->arguments) {
            for (const int value : fault->values) {
                for (auto arguments : {valid, spoiled}) {
                    memory = before;
                    statuses::spoilArgument(arguments, argument, value);
                    EXPECT_EQ(fault->status, std::apply(operation, arguments))
                        << "line " << line << ", argument " << argument << ", value " << value;
                    EXPECT_TRUE(memory == before) << "line " << line << ", argument " << argument;
                }
            }
        }
        statuses::spoilArgument(spoiled, fault->arguments[0], fault->values[0]);
    }
    memory = before;
}

#endif
