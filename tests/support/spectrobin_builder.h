// spectrobin_builder.h - spectrobin streams for tests and benchmarks, valid
// or broken on purpose.
//
//   Spectrobin s;
//   s.add(ChartBlock().id(7).grid(2, 2)).add(ChartBlock().id(3).grid(3, 1));
//   std::vector<unsigned char> bytes = s.build();
//
// Fields are written big-endian at their places. A block's wedge_len is
// columns x rows x bytes per patch + 16 and its patch data has that many bytes
// (patch k holds sample_number(id, k, 0), (id, k, 1) ...), unless a test sets
// either itself: that is how inconsistent streams are made.
#ifndef HXTVEL_SPECTROBIN_BUILDER_H
#define HXTVEL_SPECTROBIN_BUILDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hxtvel_test {

inline uint16_t sample_number(uint8_t id, uint64_t k, uint32_t v) {
    return static_cast<uint16_t>(id * 4099u + k * 613u + v * 331u + 17u);
}

inline void put_be(std::vector<unsigned char> &out, uint64_t v, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

struct ChartBlock {
    uint8_t id_ = 1, illumination_ = 2, observer_ = 0, filter_ = 0, data_dir_ = 0;
    uint16_t columns_ = 2, rows_ = 2, bytes_per_patch_ = 62;
    std::optional<uint32_t> patch_count_, wedge_len_;
    std::optional<uint64_t> data_bytes_;        // bytes of patch data written
    std::optional<std::vector<uint8_t>> data_;  // patch data given, not generated

    ChartBlock &id(uint8_t v) { return id_ = v, *this; }
    ChartBlock &grid(uint16_t c, uint16_t r) { return columns_ = c, rows_ = r, *this; }
    ChartBlock &patch_count(uint32_t v) { return patch_count_ = v, *this; }
    ChartBlock &bytes_per_patch(uint16_t v) { return bytes_per_patch_ = v, *this; }
    ChartBlock &data_dir(uint8_t v) { return data_dir_ = v, *this; }
    ChartBlock &conditions(uint8_t illumination, uint8_t observer, uint8_t filter) {
        return illumination_ = illumination, observer_ = observer, filter_ = filter, *this;
    }
    ChartBlock &wedge_len(uint32_t v) { return wedge_len_ = v, *this; }
    ChartBlock &data_bytes(uint64_t v) { return data_bytes_ = v, *this; }
    ChartBlock &data(std::vector<uint8_t> v) { return data_ = std::move(v), *this; }

    uint64_t cells() const { return uint64_t{columns_} * rows_; }
    uint32_t wedge_len() const {
        return wedge_len_.value_or(static_cast<uint32_t>(cells() * bytes_per_patch_ + 16));
    }

    void append_to(std::vector<unsigned char> &out) const {
        put_be(out, id_, 1);
        put_be(out, wedge_len(), 4);
        put_be(out, patch_count_.value_or(static_cast<uint32_t>(cells())), 4);
        put_be(out, columns_, 2);
        put_be(out, rows_, 2);
        for (uint8_t b : {uint8_t{0}, illumination_, observer_, uint8_t{0}, filter_, data_dir_}) out.push_back(b);
        put_be(out, bytes_per_patch_, 2);
        const uint64_t bytes = data_bytes_.value_or(data_ ? data_->size() : cells() * bytes_per_patch_);
        const size_t start = out.size();
        if (data_) out.insert(out.end(), data_->begin(), data_->end());
        for (uint64_t k = 0; !data_ && k < cells() && out.size() - start < bytes; ++k) {
            for (uint32_t v = 0; v < bytes_per_patch_ / 2u; ++v) put_be(out, sample_number(id_, k, v), 2);
            if (bytes_per_patch_ % 2) out.push_back(0xA5);  // an odd last byte is no number
        }
        out.resize(start + bytes, 0);
    }
};

struct Spectrobin {
    uint8_t sensor_id_ = 1, backing_ = 1, temperature_ = 23, humidity_ = 45;
    std::optional<uint8_t> block_count_;        // number of blocks added unless set
    std::string sensor_name_ = "HX-Spectro 3";  // NUL-padded to 32 bytes
    std::vector<ChartBlock> blocks_;

    Spectrobin &sensor_id(uint8_t v) { return sensor_id_ = v, *this; }
    Spectrobin &block_count(uint8_t v) { return block_count_ = v, *this; }
    Spectrobin &backing(uint8_t v) { return backing_ = v, *this; }
    Spectrobin &add(const ChartBlock &b) { return blocks_.push_back(b), *this; }
    ChartBlock &block(size_t i) { return blocks_.at(i); }

    std::vector<unsigned char> build() const {
        std::vector<unsigned char> out = {sensor_id_, block_count_.value_or(static_cast<uint8_t>(blocks_.size()))};
        std::string name = sensor_name_;
        name.resize(32, '\0');
        out.insert(out.end(), name.begin(), name.end());
        out.insert(out.end(), {backing_, temperature_, humidity_});
        for (const ChartBlock &b : blocks_) b.append_to(out);
        return out;
    }
    // Stream offset of each block.
    std::vector<uint64_t> block_offsets() const {
        std::vector<uint64_t> at;
        uint64_t pos = 37;
        for (const ChartBlock &b : blocks_) at.push_back(pos), pos += 5 + uint64_t{b.wedge_len()};
        return at;
    }
};

}  // namespace hxtvel_test

#endif  // HXTVEL_SPECTROBIN_BUILDER_H
