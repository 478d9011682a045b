// rvStreamSet: grid dimensions, spatial limits and the TOF and DRT ranges. The host computes
// them; the dataset keeps them as given, without any check. Nothing here can fail, so every
// member ends with qOK True.
#include "streamset/stream_set.hpp"

namespace tkstream63 {

void rvStreamSet::setGridDimension(int32_t NX, int32_t NY, int32_t NZ, bool& qOK) noexcept {
    NX_ = NX;
    NY_ = NY;
    NZ_ = NZ;
    GridSet_ = true;
    qOK = true;
}

void rvStreamSet::getGridDimension(int32_t& NX, int32_t& NY, int32_t& NZ,
                                   bool& qOK) const noexcept {
    NX = NX_;
    NY = NY_;
    NZ = NZ_;
    qOK = true;
}

void rvStreamSet::setLimits(float xMin, float xMax, float yMin, float yMax, float zMin, float zMax,
                            bool& qOK) noexcept {
    xMin_ = xMin;
    xMax_ = xMax;
    yMin_ = yMin;
    yMax_ = yMax;
    zMin_ = zMin;
    zMax_ = zMax;
    qOK = true;
}

void rvStreamSet::getLimits(float& xMin, float& xMax, float& yMin, float& yMax, float& zMin,
                            float& zMax, bool& qOK) const noexcept {
    xMin = xMin_;
    xMax = xMax_;
    yMin = yMin_;
    yMax = yMax_;
    zMin = zMin_;
    zMax = zMax_;
    qOK = true;
}

void rvStreamSet::setTOFLimits(float TOFMin, float TOFMax, bool& qOK) noexcept {
    TOFMin_ = TOFMin;
    TOFMax_ = TOFMax;
    qOK = true;
}

void rvStreamSet::getTOFLimits(float& TOFMin, float& TOFMax, bool& qOK) const noexcept {
    TOFMin = TOFMin_;
    TOFMax = TOFMax_;
    qOK = true;
}

void rvStreamSet::setDRTLimits(float DRTMin, float DRTMax, bool& qOK) noexcept {
    DRTMin_ = DRTMin;
    DRTMax_ = DRTMax;
    qOK = true;
}

void rvStreamSet::getDRTLimits(float& DRTMin, float& DRTMax, bool& qOK) const noexcept {
    DRTMin = DRTMin_;
    DRTMax = DRTMax_;
    qOK = true;
}

bool rvStreamSet::GridSet() const noexcept { return GridSet_; }

}  // namespace tkstream63
