#include "tests/Scene.h"

namespace {

template <class Buffer>
struct Life {
    Life(Draw draw, VexHandler entryPoint)
        : draw_(draw), instance_(draw_.upTo(4) - 1, 0x5A, entryPoint) {}

    void live() {
        while (draw_.left()) {
            qzlib_.calls.clear();
            qzlib_.failing = static_cast<unsigned>(draw_.byte() & draw_.byte());
            request(draw_.upTo(8));
        }
        cleanUp();
        require(qzlib_.held.empty(), "all memory comes back");
    }

  private:
    void request(QzLong choice) {
        if (choice == 0) return require(instance_.entry(1) == 1, "info answers 1");
        if (choice == 1) return cleanUp();
        if (choice == 2) return finish();
        if (choice == 3) return ask();
        if (isPrepared_) return render();
        if (isSetUp_) return prepare(choice == 4 ? draw_.byte() : QzLong{Buffer::bitmapType});
        isSetUp_ = instance_.entry(2) == 1;
    }

    void ask() {
        const auto unknown = static_cast<QzULong>(4 + draw_.byte());
        require(instance_.entry(unknown) == 1, "unknown answers 1");
        if (!isSetUp_) return;
        QzLong answer = 0;
        instance_.record.QuerySelector = static_cast<QzULong>(draw_.byte());
        instance_.record.QueryResult = &answer;
        require(instance_.execute(14) == 1, "queries answer 1");
    }

    void prepare(QzLong code) {
        QzBitmap format{};
        format.bitmapType = static_cast<unsigned char>(code);
        instance_.record.OutputBitmap = &format;
        isPrepared_ = instance_.execute(10) == 1;
        require(isPrepared_ == (instance_.record.Engine != nullptr), "prepared means an engine");
        if (code != QzLong{Buffer::bitmapType}) finish();
    }

    void render() {
        Scene<Buffer> scene(draw_, 24);
        instance_.describe(scene.inPlace ? scene.output.record : scene.input.record,
                           scene.output.record, scene.source, scene.region, scene.sampling);
        instance_.record.Params->mode = scene.mode;
        if (instance_.execute(11) == 1) scene.sample();
        require(scene.output == scene.expected, "a render is what the sampler gives");
    }

    void finish() {
        if (isPrepared_) require(instance_.execute(12) == 1, "finished answers 1");
        isPrepared_ = false;
    }
    void cleanUp() {
        finish();
        if (isSetUp_) require(instance_.entry(3) == 1, "cleanup answers 1");
        isSetUp_ = false;
    }

    Draw draw_;
    TestInstance instance_;
    TestQzLib& qzlib_ = instance_.qzlib;
    bool isSetUp_ = false;
    bool isPrepared_ = false;
};

}  // namespace

void anyLife(std::span<const unsigned char> bytes, VexHandler entryPoint) {
    Draw draw(bytes);
    visitFormat(static_cast<unsigned>(1 + draw.upTo(QzFormats::count)),
                [&]<class Buffer>() { Life<Buffer>(draw, entryPoint).live(); });
}
