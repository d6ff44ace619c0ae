#pragma once

#include "QDArray.h"
#include "QDVector3f.h"

// Axis-aligned box, empty while maximum x < minimum x.
class BBox
{
public:
    BBox() : m_min(0.0f, 0.0f, 0.0f), m_max(-1.0f, 0.0f, 0.0f) {}

    const QDVector3f& getMin() const { return m_min; }
    const QDVector3f& getMax() const { return m_max; }

    bool isInitialized() const { return m_max.x() >= m_min.x(); }
    void clear()
    {
        m_min.x() = 0.0f;
        m_max.x() = -1.0f;
    }
    void add(const QDVector3f& p);
    void add(const QDArray<QDVector3f>& points);
    void add(const BBox& other);

    float getMaxSize() const;
    float getMinSize() const;
    float getArea() const;
    float getDiameter() const;
    bool intersectBBox(const BBox& other) const;
    bool intersectSegment(const QDVector3f& p0, const QDVector3f& p1, float& t) const;
    bool getMinMaxDistance2(const QDVector3f& p, float& min2, float& max2) const;
    bool getNearestPointInBBoxMinMaxDistance2(const QDVector3f& p, float& min2, float& max2) const;

private:
    QDVector3f m_min, m_max;
};
