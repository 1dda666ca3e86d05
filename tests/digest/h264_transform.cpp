#include "digest/digest.h"
#include "qvovc.h"

namespace {

struct Input {
    Qvo16s block[16];
    Qvo16s other[16];
    Qvo8u samples[16];
    Qvo16s dc;
    Qvo16s scan[16];
    Qvo32s qp;
    Qvo32s qs;
    Qvo32u flags;

    explicit Input(Random& random) {
        const int limit = random.chance(20) ? 32767 : random.chance(50) ? 2000 : 60;
        random.fill(block, -limit, limit);
        random.fill(other, -limit, limit);
        random.fill(samples, 0, 255);
        random.fill(scan, 0, 15);
        dc = static_cast<Qvo16s>(random.range(-32768, 32767));
        qp = random.range(0, 51);
        qs = random.range(0, 51);
        flags = random.next();
    }
    const Qvo16s* pDC() const { return flags & 1 ? &dc : nullptr; }
    Qvo32u ac() const { return flags >> 1 & 1; }
};

// Runs the operation on 4000 inputs; it returns the status and leaves its output in the input.
template <class Operation>
void run(Digest& digest, Random& random, Operation operation) {
    for (int round = 0; round < 4000; ++round) {
        Input in(random);
        digest.add(operation(in, digest));
        digest.addAll(in.block, 16);
        digest.addAll(in.other, 16);
        digest.addAll(in.samples, 16);
    }
}

const DigestEntry lumaDC("qvoiTransformDequantLumaDC_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest&) { return qvoiTransformDequantLumaDC_H264_16s_C1I(in.block, in.qp); });
});

const DigestEntry chromaDC("qvoiTransformDequantChromaDC_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random,
        [](Input& in, Digest&) { return qvoiTransformDequantChromaDC_H264_16s_C1I(in.block, in.qp); });
});

const DigestEntry residual("qvoiDequantTransformResidual_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest&) {
        return qvoiDequantTransformResidual_H264_16s_C1I(in.block, 8, in.pDC(), in.ac(), in.qp);
    });
});

const DigestEntry addition("qvoiDequantTransformResidualAndAdd_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest&) {
        return qvoiDequantTransformResidualAndAdd_H264_16s_C1I(in.samples, in.block, in.pDC(), in.samples, 4, 4,
                                                               in.qp, in.ac());
    });
});

const DigestEntry prediction("qvoiTransformPrediction_H264_8u16s_C1", [](Digest& digest, Random& random) {
    run(digest, random,
        [](Input& in, Digest&) { return qvoiTransformPrediction_H264_8u16s_C1(in.samples, 4, in.block); });
});

const DigestEntry residualSP("qvoiDequantTransformResidual_SISP_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest&) {
        return qvoiDequantTransformResidual_SISP_H264_16s_C1I(in.block, in.other, in.pDC(), in.ac(), in.qp, in.qs,
                                                              in.flags & 4);
    });
});

const DigestEntry chromaSP("qvoiTransformDequantChromaDC_SISP_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest&) {
        return qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(in.block, in.other, in.qp, in.qs, in.flags & 4);
    });
});

const DigestEntry quantChroma("qvoiTransformQuantChromaDC_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest& out) {
        Qvo8s count = 99;
        const QvoStatus status = qvoiTransformQuantChromaDC_H264_16s_C1I(in.block, in.other, in.qp % 40, &count,
                                                                         in.flags & 1, in.flags & 2);
        out.add(count);
        return status;
    });
});

const DigestEntry quantLuma("qvoiTransformQuantLumaDC_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest& out) {
        Qvo8s count = 99;
        Qvo8u last = 99;
        const QvoStatus status =
            qvoiTransformQuantLumaDC_H264_16s_C1I(in.block, in.other, in.qp, &count, in.flags & 2, in.scan, &last);
        out.add(count);
        out.add(last);
        return status;
    });
});

const DigestEntry quantResidual("qvoiTransformQuantResidual_H264_16s_C1I", [](Digest& digest, Random& random) {
    run(digest, random, [](Input& in, Digest& out) {
        Qvo8s count = 99;
        Qvo8u last = 99;
        const QvoStatus status =
            qvoiTransformQuantResidual_H264_16s_C1I(in.block, in.qp, &count, in.flags & 1, in.scan, &last);
        out.add(count);
        out.add(last);
        return status;
    });
});

}  // namespace
