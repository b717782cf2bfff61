#include "apps/gimp/Layers.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <stdexcept>

#include <gegl.h>

namespace gimp {
namespace {

constexpr uint8_t fully = 255; // weight of a selected pixel

struct Releaser {
  void operator()(GeglBuffer* buffer) const {
    gegl_buffer_flush(buffer);
    g_object_unref(buffer);
  }
};
using Buffer = std::unique_ptr<GeglBuffer, Releaser>;

void require(gboolean done) {
  if (!done)
    throw std::runtime_error(gimp_get_pdb_error());
}

// The format of a document's nonlinear samples.
const Babl* formatOf(const host::Document& document) {
  const bool bytes = document.depth() == 8;
  if (document.hasTransparency())
    return babl_format(bytes ? "R'G'B'A u8" : "R'G'B'A float");
  return babl_format(bytes ? "R'G'B' u8" : "R'G'B' float");
}

GeglRectangle extentOf(const host::Document& document) {
  return {0, 0, document.width(), document.height()};
}

// Weights of the image's selection over the layer; none if nothing is selected.
std::vector<uint8_t> selectionOver(const Layer& layer, const host::Document& document) {
  if (gimp_selection_is_empty(layer.image))
    return {};
  GeglRectangle over = extentOf(document);
  require(gimp_drawable_offsets(layer.id, &over.x, &over.y));
  std::vector<uint8_t> weights(size_t(over.width) * size_t(over.height));
  const Buffer selection(gimp_drawable_get_buffer(gimp_image_get_selection(layer.image)));
  gegl_buffer_get(selection.get(), &over, 1.0, babl_format("Y u8"), weights.data(),
                  GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE); // outside the image they are 0
  return weights;
}

// Copies samples of the document in the area to the same place in the buffer.
void put(const host::Document& document, const GeglRectangle& area, GeglBuffer* buffer) {
  const size_t pixel = size_t(document.channels()) * document.sampleBytes();
  gegl_buffer_set(buffer, &area, 0, formatOf(document),
                  document.row(area.y) + size_t(area.x) * pixel, gint(document.rowBytes()));
}

// Restores the layer's own samples in the channels that must not change.
void keepInactive(const Layer& layer, host::Document& result) {
  constexpr GimpChannelType colours[] = {GIMP_CHANNEL_RED, GIMP_CHANNEL_GREEN, GIMP_CHANNEL_BLUE};
  std::vector<size_t> kept; // numbers of these channels
  for (size_t c = 0; c < std::size(colours); ++c)
    if (!gimp_image_get_component_active(layer.image, colours[c]))
      kept.push_back(c);
  if (kept.empty())
    return;
  const host::Document before = documentOf(layer);
  const size_t sample = result.sampleBytes(), pixel = size_t(result.channels()) * sample;
  for (size_t at = 0; at < result.rowBytes() * size_t(result.height()); at += pixel)
    for (const size_t c : kept)
      std::memcpy(result.row(0) + at + c * sample, before.row(0) + at + c * sample, sample);
}

// Makes completely unselected pixels transparent.
void cutOut(const host::Document& mask, const std::vector<uint8_t>& weights, GeglBuffer* buffer) {
  std::vector<float> row(size_t(mask.width()) * 4);
  const Babl* format = babl_format("R'G'B'A float");
  for (int32_t y = 0; y < mask.height(); ++y) {
    const GeglRectangle line{0, y, mask.width(), 1};
    gegl_buffer_get(buffer, &line, 1.0, format, row.data(), GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
    const uint8_t* weight = weights.data() + size_t(y) * size_t(mask.width());
    for (float* pixel = row.data(); pixel != row.data() + row.size(); pixel += 4, ++weight) {
      pixel[3] *= float(*weight) / fully;
      if (*weight == 0)
        std::fill_n(pixel, 3, 0.0f);
    }
    gegl_buffer_set(buffer, &line, 0, format, row.data(), GEGL_AUTO_ROWSTRIDE);
  }
}

} // namespace

std::string refusal(const Layer& layer) {
  if (!gimp_item_is_valid(layer.id) || gimp_item_get_image(layer.id) != layer.image)
    return "The layer is not one of the image's.";
  if (gimp_item_is_group(layer.id))
    return "A layer group has no pixels of its own: choose a layer in it.";
  if (!gimp_item_is_layer(layer.id))
    return "Haze is removed from layers, not from masks and channels: choose the layer itself.";
  if (!gimp_drawable_is_rgb(layer.id))
    return "Haze has a colour: convert the image to RGB first.";
  if (gimp_item_get_lock_content(layer.id))
    return "The layer's pixels are locked.";
  return "";
}

host::Document documentOf(const Layer& layer) {
  const bool alpha = gimp_drawable_has_alpha(layer.id);
  const bool bytes = gimp_image_get_precision(layer.image) == GIMP_PRECISION_U8_GAMMA;
  host::Document document(gimp_drawable_width(layer.id), gimp_drawable_height(layer.id),
                          alpha ? 4 : 3, bytes ? 8 : 32, host::ColourMode::rgb, alpha);
  const Buffer buffer(gimp_drawable_get_buffer(layer.id));
  const GeglRectangle extent = extentOf(document);
  gegl_buffer_get(buffer.get(), &extent, 1.0, formatOf(document), document.row(0),
                  gint(document.rowBytes()), GEGL_ABYSS_NONE);
  document.setSelection(selectionOver(layer, document));
  return document;
}

void harden(host::Document& document) {
  std::vector<uint8_t> weights = document.selection();
  std::replace_if(
      weights.begin(), weights.end(), [](uint8_t weight) { return weight != 0; }, fully);
  document.setSelection(std::move(weights));
}

bool isHard(const host::Document& document) {
  return std::all_of(document.selection().begin(), document.selection().end(),
                     [](uint8_t weight) { return weight == 0 || weight == fully; });
}

// GIMP merges a shadow buffer with the selection again, but the host has already blended. So this
// lets GIMP's merge make the undo step, and then writes the result over the merged pixels.
void replacePixels(const Layer& layer, host::Document& result) {
  keepInactive(layer, result);
  GeglRectangle area{};
  if (!gimp_drawable_mask_intersect(layer.id, &area.x, &area.y, &area.width, &area.height))
    throw std::runtime_error("nothing is selected");
  {
    const Buffer shadow(gimp_drawable_get_shadow_buffer(layer.id));
    put(result, area, shadow.get());
  }
  require(gimp_drawable_merge_shadow(layer.id, TRUE));
  {
    const Buffer pixels(gimp_drawable_get_buffer(layer.id));
    put(result, area, pixels.get());
  }
  require(gimp_drawable_update(layer.id, area.x, area.y, area.width, area.height));
}

void addMaskLayer(const Layer& layer, const host::Document& mask) {
  const std::vector<uint8_t> weights = selectionOver(layer, mask);
  const bool alpha = mask.hasTransparency() || !weights.empty();
  const gint32 added = gimp_layer_new(layer.image, "Haze mask", mask.width(), mask.height(),
                                      alpha ? GIMP_RGBA_IMAGE : GIMP_RGB_IMAGE, 100,
                                      gimp_image_get_default_new_layer_mode(layer.image));
  require(added >= 0);
  {
    const Buffer buffer(gimp_drawable_get_buffer(added));
    put(mask, extentOf(mask), buffer.get());
    if (!weights.empty())
      cutOut(mask, weights, buffer.get());
  }
  gint x = 0, y = 0;
  require(gimp_drawable_offsets(layer.id, &x, &y) && gimp_layer_set_offsets(added, x, y));
  require(gimp_image_insert_layer(layer.image, added, gimp_item_get_parent(layer.id),
                                  gimp_image_get_item_position(layer.image, layer.id)));
}

} // namespace gimp
