#include "decode/colour/ColourGraph.h"

// For builds without zimg: no graph can be made, and libswscale converts everything by the stream's matrix and range.

bool ColourGraph::IsAvailable()
{
    return false;
}

std::unique_ptr<ColourGraph> ColourGraph::Make(Kind const&)
{
    return nullptr;
}

ColourGraph::~ColourGraph() = default;

bool ColourGraph::Process(FrameRows const&, Memory&, RowSink&) const
{
    return false;
}
