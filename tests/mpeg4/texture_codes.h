// The texture codes of ISO/IEC 14496-2 as the standard prints them, an encoder that writes events in every form that
// the syntax has, and a decoder that reads bit by bit.
#ifndef QVOVC_TESTS_MPEG4_TEXTURE_CODES_H
#define QVOVC_TESTS_MPEG4_TEXTURE_CODES_H

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "mpeg4/bit_stream.h"
#include "support/codes.h"

namespace texture {

using ::Stream;
using Levels = std::array<Qvo16s, 64>;

struct Event {
    int last, run, level;
};

inline const std::string escapeCode = "0000011";

using Triple = std::tuple<int, int, int>;  // last, run, |level|

struct Codes {
    std::map<Triple, std::string> codeOf;     // last, run, |level|; without the sign bit
    std::map<std::string, Triple> eventOf;    // the same backwards
    std::map<std::pair<int, int>, int> lmax;  // (last, run) -> largest level
    std::map<std::pair<int, int>, int> rmax;  // (last, level) -> largest run

    // The codes of the levels from 1 up; '/' leads to the next run, '|' to the last coefficients.
    explicit Codes(const std::string& text) {
        std::istringstream words(text);
        int last = 0, run = 0, level = 0;
        for (std::string code; words >> code;) {
            if (code == "|" || code == "/") {
                run = code == "|" ? 0 : run + 1;
                last |= code == "|";
                level = 0;
                continue;
            }
            codeOf[{last, run, ++level}] = code;
            eventOf[code] = {last, run, level};
            lmax[{last, run}] = level;
            rmax[{last, level}] = run;
        }
    }

    // Every way to write the event: directly or by an escape of type 1, 2 or 3; "" where there is none.
    std::array<std::string, 4> allForms(Event e) const {
        const int level = std::abs(e.level);
        const char sign = e.level < 0 ? '1' : '0';
        std::array<std::string, 4> forms;
        if (const auto c = codeOf.find({e.last, e.run, level}); c != codeOf.end()) forms[0] = c->second + sign;
        if (const auto m = lmax.find({e.last, e.run}); m != lmax.end())
            if (const auto c = codeOf.find({e.last, e.run, level - m->second}); c != codeOf.end())
                forms[1] = escapeCode + "0" + c->second + sign;
        if (const auto m = rmax.find({e.last, level}); m != rmax.end())
            if (const auto c = codeOf.find({e.last, e.run - m->second - 1, level}); c != codeOf.end())
                forms[2] = escapeCode + "10" + c->second + sign;
        forms[3] = escapeCode + "11" + binary(e.last, 1) + binary(e.run, 6) + "1" + binary(e.level, 12) + "1";
        return forms;
    }
    std::string firstForm(Event e) const {
        const auto forms = allForms(e);
        return *std::find_if(forms.begin(), forms.end(), [](const std::string& form) { return !form.empty(); });
    }
};

inline const Codes& intraCodes() {  // table B-16
    static const Codes codes(
        "10 110 1111 01101 01100 010101 010011 010010 0010111 00011111 00011110 00011101 000100101 000100100 "
        "000100011 000100001 0000100001 0000100000 0000001111 0000001110 00000000111 00000000110 00000100000 "
        "00000100001 000001010000 000001010001 000001010010 / 1110 010100 0010110 00011100 000100000 000011111 "
        "0000001101 00000100010 000001010011 000001010101 / 01011 0010101 000011110 0000001100 000001010110 / "
        "010001 00011011 000011101 0000001011 / 010000 000100010 0000001010 / 001101 000011100 0000001000 / "
        "0010010 000011011 000001010100 / 0010100 000011010 000001010111 / 00011001 0000001001 / 00011000 "
        "00000100011 / 00010111 / 000011001 / 000011000 / 0000000111 / 000001011000 | 0111 001100 00010110 "
        "000010111 0000000110 00000000101 00000000100 000001011001 / 001111 000010110 0000000101 / 001110 "
        "0000000100 / 0010001 00000100100 / 0010000 00000100101 / 0010011 000001011010 / 00010101 000001011011 / "
        "00010100 / 00010011 / 00011010 / 000010101 / 000010100 / 000010011 / 000010010 / 000010001 / "
        "00000100110 / 00000100111 / 000001011100 / 000001011101 / 000001011110 / 000001011111");
    return codes;
}

inline const Codes& interCodes() {  // table B-17
    static const Codes codes(
        "10 1111 010101 0010111 00011111 000100101 000100100 0000100001 0000100000 00000000111 00000000110 "
        "00000100000 / 110 010100 00011110 0000001111 00000100001 000001010000 / 1110 00011101 0000001110 "
        "000001010001 / 01101 000100011 0000001101 / 01100 000100010 000001010010 / 01011 0000001100 "
        "000001010011 / 010011 0000001011 000001010100 / 010010 0000001010 / 010001 0000001001 / 010000 "
        "0000001000 / 0010110 000001010101 / 0010101 / 0010100 / 00011100 / 00011011 / 000100001 / 000100000 / "
        "000011111 / 000011110 / 000011101 / 000011100 / 000011011 / 000011010 / 00000100010 / 00000100011 / "
        "000001010110 / 000001010111 | 0111 000011001 00000000101 / 001111 00000000100 / 001110 / 001101 / "
        "001100 / 0010011 / 0010010 / 0010001 / 0010000 / 00011010 / 00011001 / 00011000 / 00010111 / 00010110 / "
        "00010101 / 00010100 / 00010011 / 000011000 / 000010111 / 000010110 / 000010101 / 000010100 / 000010011 "
        "/ 000010010 / 000010001 / 0000000111 / 0000000110 / 0000000101 / 0000000100 / 00000100100 / 00000100101 "
        "/ 00000100110 / 00000100111 / 000001011000 / 000001011001 / 000001011010 / 000001011011 / 000001011100 "
        "/ 000001011101 / 000001011110 / 000001011111");
    return codes;
}

inline const Qvo8u* const scans[3] = {ZigzagC, ZigzagV, ZigzagH};  // by qvoScanZigzag and so on

// The code of a block from scan position `start` on; codeOf(event) gives the codes of its events.
template <class CodeOf>
std::string blockCode(const Levels& block, const Qvo8u* scan, int start, CodeOf codeOf) {
    std::vector<Event> events;
    int run = 0;
    for (int position = start; position < 64; ++position) {
        const int level = block[scan[position]];
        if (level != 0) events.push_back({0, run, level});
        run = level != 0 ? 0 : run + 1;
    }
    if (!events.empty()) events.back().last = 1;
    std::string bits;
    for (const Event& e : events)
        bits += codeOf(e);
    return bits;
}

// dct_dc_size (tables B-13 and B-14), by chrominance and size.
inline const char* const dcSizeCodes[2][13] = {
    {"011", "11", "10", "010", "001", "0001", "00001", "000001", "0000001", "00000001", "000000001", "0000000001",
     "00000000001"},
    {"11", "10", "01", "001", "0001", "00001", "000001", "0000001", "00000001", "000000001", "0000000001",
     "00000000001", "000000000001"}};

// A DC difference; `marker` is written where the syntax has a marker bit.
inline std::string dcDifference(int difference, bool chrominance, char marker = '1') {
    int size = 0;
    while (std::abs(difference) >> size != 0)
        ++size;
    std::string text = dcSizeCodes[chrominance][size];
    text += binary(difference < 0 ? difference - 1 : difference, size);
    if (size > 8) text += marker;
    return text;
}

inline int dcScaler(int QP, bool chrominance) {
    if (QP <= 4) return 8;
    if (chrominance) return QP <= 24 ? (QP + 13) / 2 : QP - 6;
    return QP <= 8 ? 2 * QP : QP <= 24 ? QP + 8 : 2 * QP - 16;
}

// Half away from zero, in 16 bits.
inline int scaledPredictor(int p, int QP, int predQP) {
    if (QP == predQP) return p;
    const int magnitude = (std::abs(p) * predQP + QP / 2) / QP;
    return static_cast<Qvo16s>(p < 0 ? -magnitude : magnitude);
}

// Where an intra block is predicted from, by the DC coefficients around it, negative where there are none (7.4.3.1).
struct IntraPrediction {
    bool above;
    bool available;
    bool sameMacroblock;  // is that of the neighbour, which has the same quantiser
    int dc;
};

inline IntraPrediction intraPrediction(int left, int aboveLeft, int above, int block) {
    const auto value = [](int dc) { return dc < 0 ? 1024 : dc; };
    const auto distance = [&](int a, int b) { return std::abs(value(a) - value(b)); };
    if (distance(left, aboveLeft) < distance(aboveLeft, above))
        return {true, above >= 0, block == 2 || block == 3, value(above)};
    return {false, left >= 0, block == 1 || block == 3, value(left)};
}

// Reads a string of bits one by one and throws away what does not decode.
class BitReader {
  public:
    explicit BitReader(const std::string& text) : bits(text) {}

    bool readEvents(const Codes& codes, int start, Levels& levels) {  // by scan position
        Event e = {0, 0, 0};
        int place = start - 1;
        while (e.last == 0) {
            if (!readEvent(codes, e)) return false;
            place += e.run + 1;
            if (place > 63) return false;
            levels[static_cast<std::size_t>(place)] = static_cast<Qvo16s>(e.level);
        }
        return true;
    }

    QvoStatus readDC(bool chrominance, int& difference) {
        std::string code;
        int size = -1;
        while (size < 0) {
            code += next();
            if (code.size() > 12) return qvoStatusTextureVlc;
            for (int s = 0; s <= 12; ++s)
                if (code == dcSizeCodes[chrominance][s]) size = s;
        }
        const std::size_t first = at;
        difference = number(size);
        if (size > 0 && bits[first] == '0') difference -= (1 << size) - 1;
        return size > 8 && next() == '0' ? qvoStatusMarkerBit : qvoStatusOk;
    }

    std::string bits;
    std::size_t at = 0;

  private:
    char next() { return at < bits.size() ? bits[at++] : '0'; }
    int number(int length) {
        int value = 0;
        for (int i = 0; i < length; ++i)
            value = 2 * value + (next() - '0');
        return value;
    }
    bool readCode(const Codes& codes, Event& e) {
        std::string code;
        while (codes.eventOf.count(code) == 0) {
            code += next();
            if (code == escapeCode || code.size() > 12) return false;
        }
        std::tie(e.last, e.run, e.level) = codes.eventOf.at(code);
        return true;
    }
    bool readEvent(const Codes& codes, Event& e) {
        const bool escape = bits.compare(at, 7, escapeCode) == 0;
        if (escape) at += 7;
        if (escape && bits.compare(at, 2, "11") == 0) {
            at += 2;
            e.last = number(1);
            e.run = number(6);
            if (next() == '0') return false;
            e.level = number(12);
            if (e.level >= 2048) e.level -= 4096;
            return next() == '1' && e.level != 0 && e.level != -2048;
        }
        const bool runEscape = escape && next() == '1';
        if (runEscape) next();
        if (!readCode(codes, e)) return false;
        const int run = e.run, level = e.level;
        if (runEscape) e.run += codes.rmax.at({e.last, level}) + 1;
        if (escape && !runEscape) e.level += codes.lmax.at({e.last, run});
        if (next() == '1') e.level = -e.level;
        return true;
    }
};

}  // namespace texture

#endif
