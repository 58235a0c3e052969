// Unwrapping, in batches: part of render/batch.h.

template <>
struct Columns<Mapping::unwrap> {
    double halfSine[blockColumns], halfCosine[blockColumns];

    // Column `at` of the region becomes column i of the block.
    void load(const Job& job, int i, std::int64_t at, double /*offset*/) {
        halfSine[i] = job.tables.first[at];
        halfCosine[i] = job.tables.second[at];
    }
    static double offsetAt(int) { return 0; }

    template <class Lanes>
    [[gnu::always_inline]] Positions<Lanes> positions(const Job& job, int at, double v) const {
        const auto half = Lanes::Set(0.5), radius = Lanes::Set(v);
        const auto p = half - radius * Lanes::Load(halfSine + at);
        const auto q = half - radius * Lanes::Load(halfCosine + at);
        return {p * Lanes::Set(job.geometry.scaleX) + Lanes::Set(job.geometry.originX),
                q * Lanes::Set(job.geometry.scaleY) + Lanes::Set(job.geometry.originY), 0};
    }
};
