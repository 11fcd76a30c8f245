// A weight shift in which the robot falls.
import {onPageOf} from './pages.mjs';
import {example, Report, write} from './report.mjs';

const [header, ...rows] = example('weight_shift');
const faster = rows.map((row) => row.replace(/^[^,]*/, (time) => (0.2 * time).toFixed(4)));
export const fast = Report.of(write('fast.csv', [header, ...faster]));
export const onPage = onPageOf(fast);
