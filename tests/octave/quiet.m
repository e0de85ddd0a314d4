% One kinetra call with its printed text returned instead of shown.
function out = quiet(varargin)
  out = evalc('kinetra(varargin{:});');
end
