// Wrapping, in batches: part of render/batch.h.

template <>
struct Columns<Mapping::wrap> {
    double offsetSquared[blockColumns], offset[blockColumns];

    // Column `at` of the region, at `dx` from the centre, becomes column i of the block.
    void load(const Job& job, int i, std::int64_t at, double dx) {
        offsetSquared[i] = job.tables.first[at];
        offset[i] = dx;
    }
    double offsetAt(int i) const { return offset[i]; }

    // y is exact.
    template <class Lanes>
    [[gnu::always_inline]] Positions<Lanes> positions(const Job& job, int at, double v) const {
        const Geometry& geometry = job.geometry;
        const auto one = Lanes::Set(1.0), dy = Lanes::Set(v - 0.5);
        const auto radius = Lanes::Sqrt(dy * dy + Lanes::Load(offsetSquared + at));
        const auto diameter = radius + radius;
        const auto inEllipse = Lanes::Lt(diameter - one, Lanes::Set(0.0));
        const auto q = Lanes::IfThenElse(inEllipse, diameter, one);
        const auto y = q * Lanes::Set(geometry.scaleY) + Lanes::Set(geometry.originY);
        // Whole batches outside need no column.
        if (Lanes::Bits(Lanes::Lt(y, Lanes::Set(job.lastRow + 1.0))) == 0) return {y, y, 0};
        const auto angle = arctangent<Lanes>(Lanes::Load(offset + at), dy);
        auto turns = (angle + Lanes::Set(3.141592653589793)) * Lanes::Set(0.15915494309189535);
        unsigned nearCut = 0;
        if (job.isTurned) [[unlikely]]
            turns = relative<Lanes>(job, turns, nearCut);
        return {turns * Lanes::Set(geometry.scaleX) + Lanes::Set(geometry.originX), y, nearCut};
    }

  private:
    // Turn::relative. `nearCut` gets the lanes so near to the cut that the plain path may be on its
    // other side.
    template <class Lanes>
    [[gnu::always_inline]] static typename Lanes::Doubles relative(const Job& job,
                                                                   typename Lanes::Doubles turns,
                                                                   unsigned& nearCut) {
        const Turn& turn = job.geometry.turn;
        const auto one = Lanes::Set(1.0), error = Lanes::Set(job.turnError);
        const auto low = Lanes::Set(turn.low), high = Lanes::Set(turn.high);
        const auto turned = turns * Lanes::Set(turn.sign) + Lanes::Set(turn.offset);
        nearCut = Lanes::Bits(Lanes::Or(Lanes::Le(Lanes::Abs(turned - low), error),
                                        Lanes::Le(Lanes::Abs(turned - high), error)));
        return Lanes::IfThenElse(Lanes::Lt(turned, low), turned + one,
                                 Lanes::IfThenElse(Lanes::Lt(high, turned), turned - one, turned));
    }
};
