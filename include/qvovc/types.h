/* Basic types, status values and the version record: what every operation of the library shares.
 *
 * Conventions
 *
 * - Pixels are Qvo8u, coefficients and residuals Qvo16s. A coefficient block is 64 contiguous Qvo16s in raster
 *   order: row r, column c at index 8r + c.
 * - Row steps are in bytes, for 8-bit and 16-bit data alike, unless a declaration says otherwise.
 * - Every operation checks its arguments in a fixed order and returns the status of the first check that fails:
 *   first all pointers (qvoStatusNullPtr; behind a pointer to a pointer the inner one too), then the numeric
 *   arguments in parameter order. Declarations list "Statuses" in the order in which they are tested. An operation
 *   that fails a check writes nothing.
 * - Errors found while decoding (an invalid code, a scan position past the block) return at once; what was written
 *   before stays written, as each declaration describes.
 * - Arithmetic is 32-bit two's complement. Where no clip is stated, results wrap silently.
 * - Nothing is kept between calls. Any operation may run on any number of threads at once as long as they do not
 *   share output buffers or bit-stream positions.
 *
 * Bit-stream positions
 *
 * - Byte streams (MPEG-4, H.263): `Qvo8u** ppBitStream` points at the pointer to the byte that holds the next bit,
 *   `Qvo32s* pBitOffset` (0..7) counts the bits of that byte already used, from the most significant bit.
 * - Word streams, reading (MPEG-1/2, names ending in `_32s`): `Qvo32u** ppBitStream` points at the pointer to the
 *   native 32-bit word that holds the next bit; `Qvo32s* pOffset` (31..0) is the index of that bit, 31 being the
 *   most significant. A program that has the stream as bytes assembles each four bytes big-endian into a word first.
 * - Word streams, writing: the second argument counts the free bits left in the current word, 1..32.
 *
 * Readers may fetch up to four bytes (one word in word streams) beyond the last bit they consume: keep that much
 * readable slack behind every bit-stream buffer. */
#ifndef QVOVC_TYPES_H
#define QVOVC_TYPES_H

/* Marks the functions and tables that the shared object exports. */
#define QVO_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char Qvo8u;
typedef signed char Qvo8s;
typedef unsigned short Qvo16u;
typedef short Qvo16s;
typedef unsigned int Qvo32u;
typedef int Qvo32s;

typedef struct {
    Qvo32s width;
    Qvo32s height;
} QvoiSize;

typedef struct {
    Qvo32s x;
    Qvo32s y;
} QvoiPoint;

/* In half-sample units for MPEG-1/2, MPEG-4 and H.263, in quarter-sample units for H.264. */
typedef struct {
    Qvo16s dx;
    Qvo16s dy;
} QvoMotionVector;

/* The result of every operation: 0 is success, negative values are errors, the one positive value is a warning
 * returned after the operation has completed its output. The numbers are part of the interface. */
typedef enum {
    /* Warning: H.264 4x4 intra prediction found a neighbour group missing and used 128 in its place; the
     * prediction is complete. */
    qvoStatusNeighbourSubstituted = 11,
    /* The operation succeeded. */
    qvoStatusOk = 0,
    /* An inner step of a composite operation failed: an invalid shape motion-vector difference code, or
     * padding of a shape block that could not proceed; the composite passes it on. */
    qvoStatusFailed = -2,
    /* An argument is outside its allowed set (a mode or selector value, a search range). */
    qvoStatusBadArg = -5,
    /* A length or size argument is not positive or is out of range (a vector length less than 1, a rectangle
     * side less than 1). */
    qvoStatusSize = -6,
    /* A pointer argument (or the current-position pointer behind a pointer to pointer) is null. */
    qvoStatusNullPtr = -8,
    /* An allocation made by a table builder failed. */
    qvoStatusNoMemory = -9,
    /* The quantiser scale given to a forward quantiser is 0. */
    qvoStatusDivByZero = -10,
    /* An H.264 quantisation parameter lies outside 0..51, or an intra prediction mode or block type is outside
     * its set. */
    qvoStatusOutOfRange = -11,
    /* A quantised H.264 coefficient's magnitude exceeds 2063. */
    qvoStatusLevelOverflow = -13,
    /* A row step is too small (in most operations: less than 1). */
    qvoStatusStep = -14,
    /* A decoded run moves the scan position past 63. */
    qvoStatusScanOverrun = -72,
    /* A fixed-length intra DC code is 0 or 128, which the standard forbids. */
    qvoStatusBadIntraDC = -73,
    /* A variable-length code is not in the table. */
    qvoStatusVlcError = -74,
    /* A motion-vector difference code is not in the table. */
    qvoStatusBadMvCode = -75,
    /* An H.263 quantiser is less than 1 or, where the upper bound is tested, greater than 31. */
    qvoStatusQpRange = -76,
    /* The frame step is smaller than the frame width plus twice the border width. */
    qvoStatusFrameHeight = -77,
    /* The border width is less than 8. */
    qvoStatusBorderWidth = -78,
    /* The frame height is less than 1. */
    qvoStatusFrameRows = -79,
    /* The frame width is less than 8. */
    qvoStatusFrameWidth = -80,
    /* A row step is less than 16 for an operation on a whole 16x16 macroblock. */
    qvoStatusMbStep = -81,
    /* A row step is smaller than the width of the block operated on (8, or 16 for the macroblock forms of the
     * H.263 approximate copies). */
    qvoStatusBlockStep = -82,
    /* An advanced-intra prediction direction is not 1, 2 or 3. */
    qvoStatusPredDir = -83,
    /* A quantisation-type flag is neither 0 nor 1. */
    qvoStatusQuantBitsFlag = -90,
    /* A second prediction flag is neither 0 nor 1. */
    qvoStatusAcPredFlag = -91,
    /* The quantisation precision (bits per pixel) lies outside 4..12. */
    qvoStatusQuantPrecision = -92,
    /* A scan selector is not 0, 1 or 2. */
    qvoStatusScanType = -93,
    /* The block to be padded holds no opaque sample. */
    qvoStatusTransparent = -94,
    /* A block size is not one of the allowed sizes (8 or 16; or 4, 8 or 16). */
    qvoStatusBlockSize = -95,
    /* A macroblock count or dimension is less than 1. */
    qvoStatusMbCount = -96,
    /* A pointer that must be 4-byte aligned is not. */
    qvoStatusMisaligned = -97,
    /* An fcode lies outside 1..7. */
    qvoStatusFcodeRange = -98,
    /* The marker bit after a long intra DC difference is 0. */
    qvoStatusMarkerBit = -99,
    /* A texture coefficient code is not in the table, or an escape's marker bit is 0. */
    qvoStatusTextureVlc = -100,
    /* A motion-vector code is not in the table. */
    qvoStatusMvVlc = -101,
    /* The block index given to an MPEG-4 intra block decoder lies outside 0..9. */
    qvoStatusBlockIndex = -103,
    /* An MPEG-4 quantiser lies outside 1..31. */
    qvoStatusQuantRange = -104,
    /* A bit offset lies outside 0..7. */
    qvoStatusBitOffset = -105,
    /* An intra MCBPC code is not in the table. */
    qvoStatusMcbpcIntra = -109,
    /* An inter MCBPC code is not in the table. */
    qvoStatusMcbpcInter = -110,
    /* A CBPY code is not in the table. */
    qvoStatusCbpy = -111,
    /* The requested intra prediction mode needs a neighbouring block that the availability flags mark as
     * missing. */
    qvoStatusNeighbourUnavailable = -117,
    /* A source or destination step is less than 16. */
    qvoStatusStep16 = -168,
    /* A source or destination step is less than 8. */
    qvoStatusStep8 = -169
} QvoStatus;

/* What the library says of itself. */
typedef struct {
    Qvo32s major;
    Qvo32s minor;
    Qvo32s majorBuild;
    Qvo32s build;
    char targetCpu[4];     /* "px": the generic build without processor-specific code */
    const char* Name;      /* file name of the library */
    const char* Version;   /* version as text */
    const char* BuildDate; /* date of the interface's definition, as text */
} QvoLibraryVersion;

/* Returns the library's version record, a constant that is the same object on every call. It never fails; the
 * caller neither frees nor modifies the record. */
QVO_API const QvoLibraryVersion* qvovcGetLibVersion(void);

#ifdef __cplusplus
}
#endif

#endif
