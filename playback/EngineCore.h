#pragma once

class EngineCore
{};
