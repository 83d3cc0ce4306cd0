// With librsvg and cairo.
#include "tools/draw/raster.h"

#include "tools/draw/styles.h"

#include <cairo-pdf.h>
#include <cairo.h>
#include <fmt/format.h>
#include <librsvg/rsvg.h>
#include <cmath>
#include <memory>

namespace cxml {
namespace {

constexpr double millimetresOfAnInch = 25.4;
constexpr double dotsOfAnInch = 200;
constexpr double pointsOfAnInch = 72;

template <auto Release>
struct Releaser {
    template <class Thing>
    void operator()(Thing* thing) const noexcept {
        Release(thing);
    }
};
using Handle = std::unique_ptr<RsvgHandle, Releaser<g_object_unref>>;
using Surface = std::unique_ptr<cairo_surface_t, Releaser<cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, Releaser<cairo_destroy>>;

void check(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS)
        throw DrawError(fmt::format("the picture cannot be drawn: {}", cairo_status_to_string(status)));
}

cairo_status_t append(void* text, const unsigned char* data, unsigned length) noexcept {
    try {
        static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(data), length);
        return CAIRO_STATUS_SUCCESS;
    } catch (...) {
        return CAIRO_STATUS_NO_MEMORY;
    }
}

Handle read(const std::string& svg) {
    GError* error = nullptr;
    const std::unique_ptr<GInputStream, Releaser<g_object_unref>> stream(
        g_memory_input_stream_new_from_data(svg.data(), static_cast<gssize>(svg.size()), nullptr));
    // Unlimited: a chart has more elements than a picture usually has.
    Handle handle(rsvg_handle_new_from_stream_sync(stream.get(), nullptr, RSVG_HANDLE_FLAG_UNLIMITED, nullptr, &error));
    if (handle) return handle;
    const std::string why = error ? error->message : "no reason given";
    g_clear_error(&error);
    throw DrawError("the picture cannot be drawn: " + why);
}

void drawOn(cairo_surface_t* surface, RsvgHandle* handle, double width, double height) {
    check(cairo_surface_status(surface));
    const Context context(cairo_create(surface));
    const RsvgRectangle all{0, 0, width, height};
    GError* error = nullptr;
    if (rsvg_handle_render_document(handle, context.get(), &all, &error) == 0) {
        const std::string why = error ? error->message : "no reason given";
        g_clear_error(&error);
        throw DrawError("the picture cannot be drawn: " + why);
    }
    check(cairo_status(context.get()));
}

}  // namespace

bool canRender() noexcept {
    return true;
}

std::string render(const std::string& svg, PictureForm form, double width, double height) {
    const Handle handle = read(svg);
    std::string bytes;
    const double unit = (form == PictureForm::Png ? dotsOfAnInch : pointsOfAnInch) / millimetresOfAnInch;
    const double wide = std::ceil(width * unit);
    const double high = std::ceil(height * unit);
    if (form == PictureForm::Png) {
        const Surface surface(
            cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(wide), static_cast<int>(high)));
        drawOn(surface.get(), handle.get(), wide, high);
        check(cairo_surface_write_to_png_stream(surface.get(), append, &bytes));
        return bytes;
    }
    const Surface surface(cairo_pdf_surface_create_for_stream(append, &bytes, wide, high));
    // Else it is the time of day.
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATE_DATE, "2000-01-01T00:00:00Z");
    drawOn(surface.get(), handle.get(), wide, high);
    cairo_surface_finish(surface.get());
    check(cairo_surface_status(surface.get()));
    return bytes;
}

}  // namespace cxml
