// polarwarp._core: renders one stack of pictures in memory into another. The package checks what
// its callers say and words the errors; what is checked here keeps any call from harm.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "library/polar.h"

namespace py = pybind11;

namespace {

using std::chrono_literals::operator""ms;

// Of buffers as numpy describes them, (frames, height, width, channels); 0 where there is none.
int formatOf(const py::buffer_info& buffer) {
    struct Format {
        const char* component;
        py::ssize_t channels;
        int code;
    };
    static constexpr Format formats[] = {
        {"B", 1, POLAR_GREY8}, {"H", 1, POLAR_GREY16}, {"f", 1, POLAR_GREY_FLOAT},
        {"B", 3, POLAR_RGB8},  {"H", 3, POLAR_RGB16},  {"f", 3, POLAR_RGB_FLOAT},
        {"B", 4, POLAR_RGBA8}, {"H", 4, POLAR_RGBA16}, {"f", 4, POLAR_RGBA_FLOAT},
    };
    if (buffer.ndim != 4) return 0;
    for (const Format& format : formats)
        if (buffer.format == format.component && buffer.shape[3] == format.channels)
            return format.code;
    return 0;
}

// Whether the library takes rows as they lie. A distance of 0 between rows means another one to it.
bool isDirect(const py::buffer_info& buffer) {
    const auto& shape = buffer.shape;
    const auto& strides = buffer.strides;
    return (shape[3] == 1 || strides[3] == buffer.itemsize) &&
           (shape[2] == 1 || strides[2] == shape[3] * buffer.itemsize) &&
           (shape[1] == 1 || strides[1] != 0);
}

// Pictures of one size, a fixed distance apart.
struct Stack {
    polar_image first;
    py::ssize_t count, step;

    Stack(const py::buffer_info& buffer, int alpha) {
        const int format = formatOf(buffer);
        if (format == 0 || !isDirect(buffer))
            throw py::value_error("no buffer of pictures that the library takes");
        const auto& shape = buffer.shape;
        if (std::max(shape[1], shape[2]) > INT32_MAX)
            throw py::value_error(polar_status_text(POLAR_BAD_SIZE));
        first = {buffer.ptr,
                 static_cast<std::int32_t>(shape[2]),
                 static_cast<std::int32_t>(shape[1]),
                 shape[1] == 1 ? 0 : buffer.strides[1],
                 format,
                 alpha};
        count = shape[0];
        step = buffer.strides[0];
    }

    polar_image operator[](py::ssize_t index) const {
        polar_image image = first;
        image.pixels = static_cast<char*>(first.pixels) + index * step;
        return image;
    }
};

// What the threads of a call know of each other.
class Run {
  public:
    Run(const Stack& input, const Stack& output, const polar_options& options)
        : input_(input), output_(output), options_(options) {}

    // Called without the interpreter's lock.
    int run() {
        const int threads =
            options_.threads != 0
                ? options_.threads
                : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
        // As many as there are threads are rendered side by side, those left over by all threads.
        const py::ssize_t beside = input_.count - input_.count % threads;
        if (beside > 0) renderSideBySide(beside, threads);
        for (py::ssize_t i = beside; i < input_.count && status_ == POLAR_OK; ++i)
            render(i, threads, true);
        return status_;
    }

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr auto pause = 50ms;

    void renderSideBySide(py::ssize_t count, int threads) {
        std::atomic<py::ssize_t> next = 0;
        const auto work = [&](bool isCaller) {
            for (py::ssize_t i = next++; i < count && status_ == POLAR_OK; i = next++)
                render(i, 1, isCaller);
        };
        std::vector<std::future<void>> helpers;
        try {
            for (int i = 1; i < threads && i < count; ++i)
                helpers.push_back(std::async(std::launch::async, work, false));
        } catch (const std::system_error&) {
            // The threads that there are do the work.
        }
        work(true);
        for (const auto& helper : helpers)
            while (helper.wait_for(pause) == std::future_status::timeout)
                if (hasSignal()) status_ = POLAR_CANCELLED;
    }

    void render(py::ssize_t index, int threads, bool isCaller) {
        polar_options options = options_;
        options.threads = threads;
        options.user = this;
        options.progress = isCaller ? [](void* run, double) {
            auto& self = *static_cast<Run*>(run);
            return self.hasSignal() || self.status_ != POLAR_OK ? 1 : 0;
        } : [](void* run, double) {
            return static_cast<Run*>(run)->status_ != POLAR_OK ? 1 : 0;
        };
        const polar_image from = input_[index], to = output_[index];
        const int status = polar_render(&from, &to, &options);
        // The first one that is not in order counts: others are cancelled then.
        int good = POLAR_OK;
        status_.compare_exchange_strong(good, status);
    }

    // Whether a handler of Python's raised something, as that of Ctrl-C does. Seldom takes the
    // interpreter's lock, for which other threads of Python may let it wait. On the caller's
    // thread.
    bool hasSignal() {
        if (!raised_ && Clock::now() >= next_) {
            const py::gil_scoped_acquire lock;
            raised_ = PyErr_CheckSignals() != 0;
            next_ = Clock::now() + pause;
        }
        return raised_;
    }

    const Stack& input_;
    const Stack& output_;
    const polar_options& options_;
    std::atomic<int> status_ = POLAR_OK;
    bool raised_ = false;
    Clock::time_point next_ = Clock::now() + pause;
};

polar_rect rectOf(const std::array<std::int32_t, 4>& rect) {
    return {rect[0], rect[1], rect[2], rect[3]};
}

void render(const py::buffer& image, const py::buffer& out, bool wraps, int sampling, int alpha,
            int threads, const std::array<std::int32_t, 4>& source,
            const std::array<std::int32_t, 4>& whole, const std::array<double, 7>& circle,
            bool clockwise, int scale, bool cyclic, bool groundBottom, double amount,
            const std::array<float, 3>& background) {
    const py::buffer_info imageBuffer = image.request(), outBuffer = out.request(true);
    const Stack input(imageBuffer, alpha), output(outBuffer, alpha);
    if (input.count != output.count || threads < 0)
        throw py::value_error("stacks of different numbers, or no number of threads");
    const polar_rect sourceRect = rectOf(source), wholeRect = rectOf(whole);
    const polar_circle where{circle[0], circle[1], circle[2], circle[3],
                             circle[4], circle[5], circle[6], clockwise ? 1 : 0};
    polar_options options{};
    options.size = sizeof options;
    options.direction = wraps ? POLAR_WRAP : POLAR_UNWRAP;
    options.sampling = sampling;
    options.threads = threads;
    std::copy(background.begin(), background.end(), options.background);
    options.source = &sourceRect;
    options.whole = &wholeRect;
    options.circle = &where;
    options.scale = scale;
    options.cyclic = cyclic ? 1 : 0;
    options.amount = &amount;
    options.ground_bottom = groundBottom ? 1 : 0;
    int status = POLAR_OK;
    {
        const py::gil_scoped_release unlocked;
        status = Run(input, output, options).run();
    }
    if (status == POLAR_CANCELLED) throw py::error_already_set();
    if (status == POLAR_OUT_OF_MEMORY) throw std::bad_alloc();
    if (status != POLAR_OK) throw py::value_error(polar_status_text(status));
}

}  // namespace

PYBIND11_MODULE(_core, module) {
    module.def("version", &polar_version);
    module.def("is_direct", [](const py::buffer& array) {
        const py::buffer_info buffer = array.request();
        return formatOf(buffer) != 0 && isDirect(buffer);
    });
    module.def("render", &render, py::arg("image"), py::arg("out"), py::kw_only(), py::arg("wraps"),
               py::arg("sampling"), py::arg("alpha"), py::arg("threads"), py::arg("source"),
               py::arg("whole"), py::arg("circle"), py::arg("clockwise"), py::arg("scale"),
               py::arg("cyclic"), py::arg("ground_bottom"), py::arg("amount"),
               py::arg("background"));
}
