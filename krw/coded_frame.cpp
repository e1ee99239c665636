#include "krw/coded_frame.h"

#include "krw/file_access.h"

#include <algorithm>

CodedFrame::CodedFrame(ByteView danraw, std::uint32_t pixels, std::uint64_t recordStart)
    : m_recordStart(recordStart) {
    for (std::size_t k = 0; k < m_descriptors.size(); ++k)
        m_descriptors[k] = planeDescriptor(danraw, k);
    while (m_wellPlaced < m_descriptors.size() && m_descriptors[m_wellPlaced].fits(pixels, recordStart))
        ++m_wellPlaced;
}

bool CodedFrame::allocate() {
    std::size_t size = 0;
    for (std::size_t k = 0; k < m_wellPlaced; ++k)
        size += m_descriptors[k].dataSize + kinedec::kPlanePadding;
    m_block.reset(static_cast<std::uint8_t*>(std::malloc(std::max<std::size_t>(size, 1))));
    return m_block != nullptr;
}

CodedFrame::Failure CodedFrame::read(std::int64_t handle) {
    std::uint8_t* place = m_block.get();
    for (; m_planesRead < m_wellPlaced; ++m_planesRead) {
        const PlaneDescriptor& descriptor = m_descriptors[m_planesRead];
        const std::span bytes(place, descriptor.dataSize);
        const FileRead result = readFullyAt(handle, m_recordStart + descriptor.dataOffset, bytes);
        if (result == FileRead::seekFailed) return {"error read plan data\n", status::kBadRecord};
        if (result != FileRead::complete) return {"error read plan data\n", status::kPlaneRead};
        std::fill_n(place + bytes.size(), kinedec::kPlanePadding, std::uint8_t{0});
        m_planes[m_planesRead] = {descriptor.table, bytes, descriptor.shift};
        place += bytes.size() + kinedec::kPlanePadding;
    }
    if (m_wellPlaced < m_descriptors.size())
        return {"Invalid KRW plane size or offset\n", status::kBadRecord};
    return {};
}
