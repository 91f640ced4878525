#pragma once

int high();
